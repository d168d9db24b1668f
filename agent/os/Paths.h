// Paths.h - the fixed paths of the agent, each spelt once. The tests link another Paths.cpp.
#pragma once

extern const char *const kPathPlugStatus;    // the stage of the agent, for its supervisor
extern const char *const kPathDefaultConfig; // the configuration file when -f names none
extern const char *const kPathLocalConfig;   // the configuration file of last resort
extern const char *const kPathTraceroute;    // what the last traceroute has printed
extern const char *const kPathRateTest;      // what the rate test would write, if it kept what it downloads
extern const char *const kPathSubdev;        // the ARP table, as the scan of the attached devices has found it
extern const char *const kPathMacConfig;     // MACs of the devices that have been reported
extern const char *const kPathPlugDownload;  // a new agent; status 004 says that all of it is there
extern const char *const kPathCommServer;    // the socket of the local command server
