// Nl80211.h - questions to the kernel's wireless part, and its messages read.
// State:    the number that the kernel has given to it.
// Threads:  the cache thread; the Read procedures any.
#pragma once

#include <libmnl/libmnl.h>

#include "sdk/linux/wifi/Radios.h"

// Opens a socket that hears of stations, scans and interfaces, and one for questions. False if the machine has no
// wireless part (yet); then both are null.
bool Nl80211Open(mnl_socket **questions, mnl_socket **events);

// Asks for all of one kind: NL80211_CMD_GET_INTERFACE, or GET_STATION or GET_SCAN of an interface (`index` above 0).
bool Nl80211Dump(mnl_socket *questions, int command, int index, mnl_cb_t callback, void *user);

// Read one message each. False if it tells nothing of the kind: an interface that is no access point, an incomplete
// message.
bool ReadRadio(const nlmsghdr *message, Radio *radio);
bool ReadStation(const nlmsghdr *message, Station *station);
bool ReadScan(const nlmsghdr *message, AdjWifi *neighbour);

// The channel of a frequency in MHz, 0 if it is none.
uint16_t ChannelOf(uint32_t frequency);
