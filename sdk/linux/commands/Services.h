// Services.h - the commands of router.conf: lights and servers, restart, firmware and what else only the operator can
//              say how to do.
// Threads:  any; nothing is remembered.
//
// A command is a program's full path and fixed arguments, split at blanks; no shell reads it. It gets one or two words
// more (below). What comes from the platform is never an argument: it is the whole of standard input, without a newline.
//   switch:   "get switch" writes "on" or "off"; "set switch" reads the same
//   account:  "get user", "get password" write one line; "set user", "set password" read it
//   others:   no more words; the platform's text, or "SELECTOR on|off", comes on standard input
// Success is exit status 0.
#pragma once

#include "sdk/linux/settings/Config.h"

constexpr size_t kAccountText = 16;

// All return RESULT_OK, RESULT_NOT_CONFIGURED, RESULT_BAD_KEY or RESULT_COMMAND; the reason is in the log.
int GetServiceSwitch(const Config *config, Key key, uint8_t *on);
int SetServiceSwitch(const Config *config, Key key, uint8_t on); // RESULT_BAD_VALUE above 1

// `what` is "user" or "password". The getter zero-pads `text`; both refuse texts over 16 characters (RESULT_TOO_LONG)
// and control characters (RESULT_BAD_VALUE).
int GetServiceText(const Config *config, Key key, const char *what, char text[kAccountText]);
int SetServiceText(const Config *config, Key key, const char *what, const char *text);

// Runs the command of a key with `input`, which may be of any length and content.
int RunCommand(const Config *config, Key key, const char *input);
