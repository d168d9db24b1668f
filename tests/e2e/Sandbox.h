// Sandbox.h - a world of its own for one test process: its own /tmp, its own network and its own processes.
//
// The agent has fixed paths in /tmp and kills programs by their names, and the tests have fixed ports, so tests that
// run at the same time, or beside an agent that is in use, would disturb each other. In the sandbox nothing else
// exists, and nothing is left behind.
//
// State: none.
#pragma once

#include <string>

constexpr char kSingleServer[] = "192.168.77.1"; // an address of the sandbox that makes the agent try one server only

// Moves the program, and what it will start, into new mount, network and process namespaces: an empty /tmp of 32 MB, a
// loopback device with kSingleServer beside 127.0.0.0/8, and a /proc that shows nobody else. Returns in a new process;
// the calling one waits for its end and does not return. Call it once, before there are threads. What stands
// below `keep` stays visible even if that is below /tmp. Needs root, or user namespaces that are open to everybody.
// Returns false with the reason when the system does not allow it.
bool EnterSandbox(const std::string &keep, std::string *reason);
