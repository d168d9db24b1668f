// ComRequests.h - what the agent asks of the router's management process, its local peer.
//
// Every request is one frame; a query waits for the peer's answer. Results: 0 done, otherwise the peer's status byte,
// or 1 when nothing could be sent or no answer came in time.
//
// State:    the last answer. Threads: the main thread (duties) and the response thread (functions), one at a time.
#pragma once

#include <cstddef>
#include <cstdint>

// While no peer is connected every request fails at once; and none can connect yet.

// ---- Queries with an answer of a byte or two, stored at `out` when the result is 0 ----

int ComF_get_wifi_freqband(uint32_t band, uint8_t *out); // `band` travels as its low byte
int ComF_get_mesh_support(uint8_t *out);
int ComF_get_mesh_switch(uint8_t *out);
int ComF_get_mesh_roaming_switch(uint8_t *out);
int ComF_get_mesh_roaming_threshold(uint8_t out[2]);

// ---- Queries whose answer is read with CommAnswer() ----

int ComF_get_mesh_topology();
int ComF_get_adj_wifi_info(); // waits up to a minute: the peer scans
int ComF_get_bssid();

// ---- Settings and actions ----

int ComF_set_mesh_switch(uint8_t on);
int ComF_set_mesh_roaming_switch(uint8_t on);
int ComF_set_mesh_roaming_threshold(uint8_t a, uint8_t b);
int ComF_set_wan_cfg(const uint8_t record[228]); // a WanCfg in the router's own order
int ComF_trig_onekey_optimize();
int ComF_trig_fault_diagnosis();

// Has the peer report by the platform's configuration `text` of `length` bytes (JSON).
int ComF_set_auto_report(const char *text, int length);

// Tells the peer whether the agent is online. Returns 0 when it was sent, 1 otherwise.
int ComF_send_pluginstate();

// Asks the peer for the auto-report configuration. Returns the peer's status, or 1 when it did not answer.
int ComF_get_autoreport_conf();

// Has the peer's report times calibrated; without a peer nothing happens.
void ComF_send_calibration();

// ---- The last answer ----

// Byte 0: its status. Bytes 1 and 2: number of bytes that came with it, the status included, little-endian. From byte
// 3: the bytes behind the status, and a NUL.
constexpr size_t kRxDataSize = 4096;
extern uint8_t rxData[kRxDataSize];

// Copies the bytes behind the status to `out`, `room` at most. Returns their number.
size_t CommAnswer(uint8_t *out, size_t room);

// ---- How often the peer reports: minutes, -1 when not configured ----

extern int intervalFlag1;
extern int intervalFlag2;
extern int intervalFlag3;
