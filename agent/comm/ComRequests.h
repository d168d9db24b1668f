// ComRequests.h - what the agent asks of the router's management process, its local peer.
//
// Every request is one frame; a query waits for the peer's answer. Results: 0 done, otherwise the peer's status byte,
// or 1 when nothing could be sent or no answer came in time. While no peer is connected every request fails at once.
//
// There is one answer at a time (CommAnswer.h): nearly every frame of the peer that arrives ends the wait, and what is
// read then is the answer that came last. Requests are made one at a time, so that is the right one unless the peer was
// late. Whoever asks while another request is being made waits for it; the end of the session or the server ends either
// wait.
//
// State:    the transmit buffer, guarded by txLock, and whose turn it is. Threads: the main thread (duties) and the
//           response thread (functions); CommSendCmd() and ComF_send_pluginstate() any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "comm/CommAnswer.h"

// ---- Sending ----

// Held from the numbering of a frame to the end of its sending, so that frames leave in the order of their numbers.
extern pthread_mutex_t txLock;

// Sends the request FuncID (1 to 1000) to the peer. `data` and `len` are its payload where the request has one of the
// caller's: 70, 72, 74, 76, 82, 88 and 999, at most 1486 bytes, and 5 with its two. The others make their own.
// Returns 0 when the frame was sent, -1 otherwise: no such request, a payload too long, no peer.
int CommSendCmd(uint32_t FuncID, const void *data, uint32_t len);

// Waits for the answer to what was sent, at most `ticks` of 50 ms and never over 1200 of them. Returns 0 as soon as it
// is there, and at once when `ticks` is 0 or less; -1 when it did not come, or when the server or the platform session
// ends meanwhile.
int Route_Wait(int ticks);

constexpr int kAnswerTicks = 200; // 10 s

// The turn to ask, from the clearing of the last answer to the reading of the next, held for the length of a block. No
// other lock is held where one begins.
class CommTurn
{
  public:
    // Waits for the turn and forgets the last answer. `id` is the FuncID of the request.
    explicit CommTurn(uint32_t id);
    ~CommTurn();
    CommTurn(const CommTurn &) = delete;
    CommTurn &operator=(const CommTurn &) = delete;
    bool Held() const { return mHeld; } // false when session or server have ended first: nothing is to be asked then

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
    int ticks;    // how long to wait
    uint8_t *out; // the first bytes behind the status go here, whatever the status is
    size_t outSize;
    uint32_t *came; // not nullptr: only as many bytes go there as came, and this becomes their number
};

// Sends the request and waits, in the caller's turn. Returns the peer's status, or 1.
int CommAskInTurn(const CommQuestion &question);

// The same in a turn of its own.
int CommRequest(const CommQuestion &question);

// ---- Queries with an answer of a byte or two, stored at `out` when the result is 0 ----

int ComF_get_wifi_freqband(uint32_t band, uint8_t *out); // `band` travels as its low byte
int ComF_get_mesh_support(uint8_t *out);
int ComF_get_mesh_switch(uint8_t *out);
int ComF_get_mesh_roaming_switch(uint8_t *out);
int ComF_get_mesh_roaming_threshold(uint8_t out[2]);

// ---- Queries with a longer answer: up to `room` bytes of it are stored at `out`, and their number in `came` ----

int ComF_get_mesh_topology(uint8_t *out, uint32_t room, uint32_t *came);
int ComF_get_adj_wifi_info(uint8_t *out, uint32_t room, uint32_t *came); // waits up to a minute: the peer scans
int ComF_get_bssid(uint8_t *out, uint32_t room, uint32_t *came);

// ---- Settings and actions ----

int ComF_set_mesh_switch(uint8_t on);
int ComF_set_mesh_roaming_switch(uint8_t on);
int ComF_set_mesh_roaming_threshold(uint8_t a, uint8_t b);
int ComF_set_wan_cfg(const uint8_t record[228]); // a WanCfg in the router's own order
int ComF_trig_onekey_optimize();
int ComF_trig_fault_diagnosis();

// Tells the peer whether the agent is online. Returns 0 when it was sent, 1 otherwise.
int ComF_send_pluginstate();

// Asks the peer for the auto-report configuration, which the handler takes from the answer. Returns the peer's status,
// or 1 when it did not answer.
int ComF_get_autoreport_conf();
