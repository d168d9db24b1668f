// Platform.h - the test platform, run as a program and driven as its documentation says: commands go in as lines of
// text, everything that happens comes out as lines of JSON.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/e2e/Process.h"

struct cJSON;

constexpr char kKey[] = "0123456789abcdef";

// One JSON line. Members are named by their path: "fields.model", "fields.wans.0.name".
class Event
{
  public:
    explicit Event(const std::string &line);
    bool Has(const std::string &path) const { return Find(path) != nullptr; }
    // A text as it stands, a number in decimal digits, anything else as JSON; throws Failure when it is not there.
    std::string Text(const std::string &path) const;
    double Number(const std::string &path) const;
    const std::string &Line() const { return line_; }

  private:
    const cJSON *Find(const std::string &path) const;

    std::string line_;
    std::shared_ptr<cJSON> root_;
};

// Paths with the texts that stand there, as Event::Text() gives them.
typedef std::vector<std::pair<std::string, std::string>> Wanted;

struct PlatformOptions {
    std::string registerAt = "127.0.0.1:6039";
    int interval = 20;                      // seconds between heartbeats
    std::vector<std::string> misbehaviours; // from the start
    std::string httpAt;                     // address and port of its web server; empty: none
};

class Platform
{
  public:
    // Starts the platform and waits until it serves.
    explicit Platform(const PlatformOptions &options = {});

    // Has a command done, and moves the mark to where it began: a wait finds what the command brought about.
    void Command(const std::string &text);
    // As Command(), but leaves the mark alone: for settings.
    void Set(const std::string &text);

    // The oldest event behind the mark that has this name and these contents; it becomes the new mark. Throws Failure
    // when none comes within `seconds`.
    Event Wait(const std::string &name, const Wanted &wanted = {}, double seconds = kPatience);
    // Whether such an event has happened so far, behind the mark. To be asked after a wait for something later.
    bool Happened(const std::string &name, const Wanted &wanted = {});
    // How many such events there have been since the start.
    size_t Count(const std::string &name, const Wanted &wanted = {});
    // Lets waits look only at what happens from here on.
    void Mark() { mark_ = lines_->All().size(); }

    // Waits for a session: the agent's first heartbeat after its login.
    void WaitSession(double seconds = kPatience);

  private:
    // Sends a command, returns the number of the line that tells of its begin.
    size_t Do(const std::string &text);

    std::unique_ptr<Lines> lines_; // outlives the program that writes them
    std::unique_ptr<Process> process_;
    size_t mark_ = 0;
};
