// ComRequests.h - the agent's requests to the local peer.
//
// Every request is one frame; a query waits for the peer's answer. Results: 0 done, otherwise the peer's status byte,
// or 1 when nothing could be sent or no answer came in time. While no peer is connected, every request fails at once.
//
// There is one answer at a time (CommAnswer.h): nearly every frame of the peer ends the wait, and the requester then
// reads the last answer. Requests are made one at a time, so this is the right one unless the peer was late. A second
// requester waits for its turn. The end of the session or of the server ends both waits.
//
// State:    the transmit buffer, guarded by txLock, and whose turn it is. Threads: the main thread (duties) and the
//           response thread (functions); CommSendCmd() and ComF_send_pluginstate() on any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "comm/CommAnswer.h"

// ---- Sending ----

// Held from the numbering of a frame to the end of its sending: frames leave in the order of their numbers.
extern pthread_mutex_t txLock;

// Sends the request FuncID (1 to 1000) to the peer. `data` and `len` (at most 1486 bytes) are its payload if the list
// of FuncIDs says PARAMETERS, JSON, HAND_OVER or WAN_INDEX (2 bytes); the other requests ignore them and make their
// own. Returns 0 when the frame was sent, -1 otherwise: no such request, wrong length, no peer.
[[nodiscard]] int CommSendCmd(uint32_t FuncID, const void *data, uint32_t len);

// Waits for the answer to what was sent, at most `ticks` (up to 1200) of 50 ms. Returns 0 as soon as it is there, and
// at once when `ticks` is 0 or less; -1 when it does not come or the server or the platform session ends.
[[nodiscard]] int Route_Wait(int ticks);

constexpr int kAnswerTicks = 200; // 10 s

// The turn to ask, held for the length of a block: from the clearing of the last answer to the reading of the next. No
// lock may be held when it is taken.
class CommTurn
{
  public:
    // Waits for the turn and clears the last answer. `id` is the FuncID of the request.
    explicit CommTurn(uint32_t id);
    ~CommTurn();
    CommTurn(const CommTurn &) = delete;
    CommTurn &operator=(const CommTurn &) = delete;
    [[nodiscard]] bool Held() const { return mHeld; } // false: the session or the server ended first; ask nothing

  private:
    bool mHeld;
};

// A request with an answer. `failure` is logged in the name of `function` when nothing could be sent.
struct CommQuestion {
    const char *function;
    const char *failure;
    uint32_t id;
    const void *data; // as for CommSendCmd()
    uint32_t length;
    int ticks;    // of 50 ms: how long to wait
    uint8_t *out; // gets the first outSize bytes after the status, whatever the status is
    size_t outSize;
    uint32_t *came; // if not nullptr: `out` gets at most the bytes that came, and this their number
};

// Sends the request and waits for its answer, in the caller's turn. Returns the peer's status, or 1.
[[nodiscard]] int CommAskInTurn(const CommQuestion &question);

// Does the same in a turn of its own.
[[nodiscard]] int CommRequest(const CommQuestion &question);

// ---- Queries with an answer of one or two bytes, stored at `out` when an answer came ----

[[nodiscard]] int ComF_get_wifi_freqband(uint32_t band, uint8_t *out); // sends the low byte of `band`
[[nodiscard]] int ComF_get_mesh_support(uint8_t *out);
[[nodiscard]] int ComF_get_mesh_switch(uint8_t *out);
[[nodiscard]] int ComF_get_mesh_roaming_switch(uint8_t *out);
[[nodiscard]] int ComF_get_mesh_roaming_threshold(uint8_t out[2]);

// ---- Queries with a longer answer: up to `room` bytes of it are stored at `out`, and their number in `came` ----

[[nodiscard]] int ComF_get_mesh_topology(uint8_t *out, uint32_t room, uint32_t *came);
[[nodiscard]] int ComF_get_bssid(uint8_t *out, uint32_t room, uint32_t *came);
// Waits up to a minute, because the peer scans.
[[nodiscard]] int ComF_get_adj_wifi_info(uint8_t *out, uint32_t room, uint32_t *came);

// ---- Settings and actions ----

[[nodiscard]] int ComF_set_mesh_switch(uint8_t on);
[[nodiscard]] int ComF_set_mesh_roaming_switch(uint8_t on);
[[nodiscard]] int ComF_set_mesh_roaming_threshold(uint8_t a, uint8_t b);
[[nodiscard]] int ComF_set_wan_cfg(const uint8_t record[228]); // a WanCfg in the router's byte order
[[nodiscard]] int ComF_trig_onekey_optimize();
[[nodiscard]] int ComF_trig_fault_diagnosis();

// Tells the peer whether the agent is online. Returns 0 when it was sent, 1 otherwise.
int ComF_send_pluginstate();

// Asks the peer for the auto-report configuration, which the handler thread keeps (AutoReport.h). Returns the status
// byte of the last answer, or 1 when the peer did not answer.
int ComF_get_autoreport_conf();
