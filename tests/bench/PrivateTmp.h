// PrivateTmp.h - a /tmp for one process and its children, because an agent's paths there are fixed.
// State: none. Threads: call it before there are any.
#pragma once

// Gives this process and its children a private, empty /tmp, so that the agent's files there disturb nobody. The
// build folder stays visible if it is below /tmp. Call it before any thread starts. Returns false with a message if
// the system does not allow it.
bool EnterPrivateTmp();
