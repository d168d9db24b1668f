// Paths.h - the fixed paths of the agent, each spelt once. The tests link another Paths.cpp.
#pragma once

extern const char *const kPathPlugStatus;    // the stage of the agent, for its supervisor
extern const char *const kPathDefaultConfig; // the configuration file when -f names none
extern const char *const kPathLocalConfig;   // the configuration file of last resort
extern const char *const kPathTraceroute;    // what the last traceroute has printed
extern const char *const kPathRateTest;      // the file name of the rate test, which writes nothing
extern const char *const kPathSubdev;        // the ARP table that the last scan of the attached devices found
extern const char *const kPathMacConfig;     // MACs of all devices that have been reported
extern const char *const kPathPlugDownload;  // the downloaded agent; complete when the status is 004
extern const char *const kPathCommServer;    // the socket of the local command server
