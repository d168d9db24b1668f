// RouterFrames.h - routers that are made of nothing but frames: who they are, what they send, and how they read what
// they get. No sockets.
// State: none. Threads: any.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "protocol/Address.h"
#include "protocol/FrameCodec.h"

struct RouterFacts {
    std::string pin = "123456789012", key = "0123456789abcdef", serial = "SIM0000000001";
    protocol::Bytes mac = {2, 0x1a, 0x2b, 0, 0, 1};
    protocol::Address from = {}; // its own address, with any port
};

// The facts of router number `i`, which differ from those of every other one, but for the address.
RouterFacts FactsOf(unsigned i);
// FactsOf(0) and so on, as the gateway's directory imports them.
std::string DevicesCsv(unsigned count);

typedef std::array<uint8_t, 4> RouterVersion;
constexpr RouterVersion kRouterVersion = {2, 0, 0, 7};

// Any frame. `plain` is the body before its encryption; without it there is no body.
protocol::Bytes RouterFrame(const RouterFacts &facts, uint8_t msgType, uint8_t flag, const protocol::Bytes &head,
                            const protocol::Bytes &plain);
protocol::Bytes RegisterFrame(const RouterFacts &facts);
struct Registration {
    protocol::Bytes token;
    protocol::Address login;
};
// What the acknowledgement of a registration tells; nothing when it refuses.
std::optional<Registration> ReadRegistration(const protocol::ParsedFrame &answer);

protocol::Bytes LoginFrame(const RouterFacts &facts, const protocol::Bytes &token,
                           const RouterVersion &version = kRouterVersion);
bool IsLoggedIn(const protocol::ParsedFrame &answer);

protocol::Bytes HeartbeatFrame(const RouterFacts &facts);
// MsgType 17, with a text.
protocol::Bytes TextReportFrame(const RouterFacts &facts, const std::string &text, uint8_t dataType = 13);
// MsgType 19, the list of so many devices (at most 128).
protocol::Bytes DeviceListFrame(const RouterFacts &facts, uint16_t sequence, uint8_t devices);

// Answers a function with status 0 and this data, and a plugin command with 0; nothing for other frames.
std::optional<protocol::Bytes> AnswerFrame(const RouterFacts &facts, const protocol::ParsedFrame &frame,
                                           const protocol::Bytes &data = {});
