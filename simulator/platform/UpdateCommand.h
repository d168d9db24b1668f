// UpdateCommand.h - the command `update`: gives an agent a new plugin file and follows the update to its report.
//
// It sends both commands of an update, the second after the first is acknowledged: the first names the versions, the
// second the file as well. "update" events show its progress, with `state`: "offered", "asked" (for the file), "done",
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
    std::string id, from, to, url, md5, token; // to be sent instead of the true values
    bool idGiven = false, tokenGiven = false;
    std::string length;
    bool expectFailure = false;
    std::string seconds; // without progress after which the command fails
};

// Reads "update FILE [NAME=VALUE]... [expect-failure]". False with the reason.
bool ReadUpdate(const Words &words, UpdateWords *update, std::string *error);

// "2.0.0.8" for "2.0.0.7"; a version of another form gets the suffix "-next".
std::string NextVersion(const std::string &version);

// Length and MD5 (RFC 1321) of an open file, as 32 lower-case digits. False with the reason.
bool Digest(int file, int64_t *length, std::string *md5, std::string *error);

// The path under which a file is served: its name if that is plain and short.
std::string UpdatePath(const std::string &file);

Outcome RunUpdate(const Words &words, CommandContext *context);

std::vector<std::string> UpdateCompletions(const Words &words);

} // namespace sim
