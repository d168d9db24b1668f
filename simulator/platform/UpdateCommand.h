// UpdateCommand.h - the command `update`: gives an agent another plugin file and follows it to the report.
//
// Both commands of an update are sent, the first one's acknowledgement in between: it names the versions, the second
// one the file too. What happens is told in "update" events, with `state`: "offered", "asked" (the file), "done",
// "failed".
//
// State: one UpdateRun per command, which lives as long as its wait. Threads: the loop's.
#pragma once

#include <string>
#include <vector>

#include "simulator/platform/Commands.h"

namespace sim
{

struct UpdateWords {
    std::string file;
    std::string id, from, to, url, md5, token; // what to say instead of the truth
    bool idGiven = false, tokenGiven = false;
    std::string length;
    bool expectFailure = false;
    std::string seconds; // without any progress until the command fails
};

// Reads "update FILE [NAME=VALUE]... [expect-failure]". False with the reason.
bool ReadUpdate(const Words &words, UpdateWords *update, std::string *error);

// "2.0.0.8" for "2.0.0.7"; a version that is none of that form gets "-next" behind it.
std::string NextVersion(const std::string &version);

// Length and MD5 (RFC 1321) of an open file, as 32 lower-case digits. False with the reason.
bool Digest(int file, int64_t *length, std::string *md5, std::string *error);

// The path that a file is served under: its name where that is plain and short.
std::string UpdatePath(const std::string &file);

Outcome RunUpdate(const Words &words, CommandContext *context);

std::vector<std::string> UpdateCompletions(const Words &words);

} // namespace sim
