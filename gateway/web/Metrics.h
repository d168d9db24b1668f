// Metrics.h - what a gateway counts: one list, from which /metrics, the documents and the checks of the dashboard are
// made.
//
// Counting is one relaxed addition to an atomic: nothing is looked up by name, and only the histogram of questions has a
// lock.
// State: the counters of one process. Threads: any.
#pragma once

#include <atomic>
#include <cstdint>
#include <prometheus/histogram.h>
#include <string>

namespace gateway
{

// A number that any thread changes and /metrics reads.
class Figure
{
  public:
    void Add(int64_t more = 1) { value_.fetch_add(more, std::memory_order_relaxed); }
    void Set(int64_t value) { value_.store(value, std::memory_order_relaxed); }
    int64_t Get() const { return value_.load(std::memory_order_relaxed); }

  private:
    std::atomic<int64_t> value_{0};
};

// X(member, kind, metric, label, value, help): rows with the same metric stand together and differ in the value of the
// label; kind is Counter (only grows, named ..._total) or Gauge (goes up and down).
// clang-format off
#define GATEWAY_FIGURES(X)                                                                                            \
    X(connections, Counter, "plug_gateway_connections_total", "", "", "TCP connections accepted")                     \
    X(registered, Counter, "plug_gateway_registrations_total", "result", "accepted", "registrations by result")       \
    X(registrationUnknown, Counter, "plug_gateway_registrations_total", "result", "unknown", "")                      \
    X(registrationLocked, Counter, "plug_gateway_registrations_total", "result", "locked", "")                        \
    X(registrationSerial, Counter, "plug_gateway_registrations_total", "result", "other_serial", "")                  \
    X(registrationLimited, Counter, "plug_gateway_registrations_total", "result", "limited", "")                      \
    X(registrationBad, Counter, "plug_gateway_registrations_total", "result", "bad_frame", "")                        \
    X(registeredAgain, Counter, "plug_gateway_registrations_elsewhere_total", "", "",                                 \
      "registrations under the PIN of a router that is online from another address")                                  \
    X(loggedIn, Counter, "plug_gateway_logins_total", "result", "accepted", "logins by result")                       \
    X(loginUnknown, Counter, "plug_gateway_logins_total", "result", "unknown", "")                                    \
    X(loginToken, Counter, "plug_gateway_logins_total", "result", "bad_token", "")                                    \
    X(loginBad, Counter, "plug_gateway_logins_total", "result", "bad_frame", "")                                      \
    X(loginTimeout, Counter, "plug_gateway_logins_total", "result", "timeout", "")                                    \
    X(endedByRouter, Counter, "plug_gateway_sessions_ended_total", "cause", "router", "sessions ended by cause")      \
    X(endedSilent, Counter, "plug_gateway_sessions_ended_total", "cause", "silent", "")                               \
    X(endedSlow, Counter, "plug_gateway_sessions_ended_total", "cause", "slow", "")                                   \
    X(endedBad, Counter, "plug_gateway_sessions_ended_total", "cause", "bad_frame", "")                               \
    X(endedReplaced, Counter, "plug_gateway_sessions_ended_total", "cause", "replaced", "")                           \
    X(endedDrain, Counter, "plug_gateway_sessions_ended_total", "cause", "drain", "")                                 \
    X(endedLocked, Counter, "plug_gateway_sessions_ended_total", "cause", "locked", "")                               \
    X(endedRemoved, Counter, "plug_gateway_sessions_ended_total", "cause", "removed", "")                             \
    X(endedNewKey, Counter, "plug_gateway_sessions_ended_total", "cause", "new_key", "")                              \
    X(sessions, Gauge, "plug_gateway_sessions", "", "", "routers that are logged in here")                            \
    X(halfOpen, Gauge, "plug_gateway_half_open", "", "", "connections that are neither registered nor logged in yet") \
    X(framesIn, Counter, "plug_gateway_frames_received_total", "", "", "whole frames received")                       \
    X(framesOut, Counter, "plug_gateway_frames_sent_total", "", "", "frames sent")                                    \
    X(framesBad, Counter, "plug_gateway_frames_bad_total", "", "", "frames with a wrong checksum, padding or record") \
    X(bytesIn, Counter, "plug_gateway_received_bytes_total", "", "", "bytes received from routers")                   \
    X(bytesOut, Counter, "plug_gateway_sent_bytes_total", "", "", "bytes sent to routers")                            \
    X(heartbeats, Counter, "plug_gateway_heartbeats_total", "", "", "heartbeats answered")                            \
    X(reportsStored, Counter, "plug_gateway_reports_total", "result", "stored",                                       \
      "reports by what became of them; only the stored ones are acknowledged")                                        \
    X(reportsFailed, Counter, "plug_gateway_reports_total", "result", "failed", "")                                   \
    X(reportsRefused, Counter, "plug_gateway_reports_total", "result", "refused", "")                                 \
    X(reportsOutstanding, Gauge, "plug_gateway_reports_outstanding", "", "", "reports that the stream has not yet")   \
    X(asked, Counter, "plug_gateway_questions_total", "result", "answered", "questions and commands by result")       \
    X(askedOffline, Counter, "plug_gateway_questions_total", "result", "offline", "")                                 \
    X(askedWrong, Counter, "plug_gateway_questions_total", "result", "wrong", "")                                     \
    X(askedNoAnswer, Counter, "plug_gateway_questions_total", "result", "no_answer", "")                              \
    X(askedBusy, Counter, "plug_gateway_questions_total", "result", "busy", "")                                       \
    X(askedTooMany, Counter, "plug_gateway_questions_total", "result", "too_many", "")                                \
    X(repliesUnmatched, Counter, "plug_gateway_replies_unmatched_total", "", "",                                      \
      "replies with a tag that no question waits for, reports of the rate test aside")                                \
    X(questionsWaiting, Gauge, "plug_gateway_questions_waiting", "", "", "questions queued or at their router")       \
    X(devices, Gauge, "plug_gateway_devices", "", "", "devices in the directory")                                     \
    X(gateways, Gauge, "plug_gateway_instances", "", "", "gateways that are alive, this one included")                \
    X(busConnected, Gauge, "plug_gateway_bus_connected", "", "", "1 while NATS is connected")                         \
    X(busReconnects, Counter, "plug_gateway_bus_reconnects_total", "", "", "connections to NATS made anew")           \
    X(draining, Gauge, "plug_gateway_draining", "", "", "1 once the end is ordered")                                  \
    X(started, Gauge, "plug_gateway_start_time_seconds", "", "", "start of this process, seconds since the epoch")
// clang-format on

struct Counters {
#define GATEWAY_MEMBER(member, kind, metric, label, value, help) Figure member;
    GATEWAY_FIGURES(GATEWAY_MEMBER)
#undef GATEWAY_MEMBER
    // plug_gateway_question_seconds: how long answered questions took, from the request to the reply.
    prometheus::Histogram questions{{0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10}};
};

// The text format of Prometheus, version 0.0.4.
std::string MetricsText(const Counters &counters);

} // namespace gateway
