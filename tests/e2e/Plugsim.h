// Plugsim.h - a tool of plugsim, run as a program and driven as docs/plugsim.md says: commands go in as lines of text,
// events come out as lines of JSON.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/e2e/Process.h"

struct cJSON;

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

class Plugsim
{
  public:
    // Starts `plugsim` with these arguments.
    explicit Plugsim(const std::vector<std::string> &arguments);

    // Carries out a command, and moves the mark to its begin: a wait finds the events that the command causes.
    void Command(const std::string &text);
    // As Command(), but leaves the mark alone: for settings.
    void Set(const std::string &text);

    // The oldest event after the mark that has this name and these contents; it becomes the new mark. Throws Failure
    // when none comes within `seconds`.
    Event Wait(const std::string &name, const Wanted &wanted = {}, double seconds = kPatience);
    // The same, but leaves the mark alone: for an event that others may come before or behind.
    Event WaitAlso(const std::string &name, const Wanted &wanted = {}, double seconds = kPatience);
    // Whether such an event has happened so far, after the mark. Ask this after a wait for a later event.
    bool Happened(const std::string &name, const Wanted &wanted = {});
    // How many such events there have been since the start.
    size_t Count(const std::string &name, const Wanted &wanted = {});
    // All such events since the start, the oldest first.
    std::vector<Event> All(const std::string &name, const Wanted &wanted = {});
    // Lets waits look only at what happens from here on.
    void Mark() { mark_ = lines_->Count(); }

    pid_t Id() const { return process_->Id(); }

    // Ends the program. Returns its exit status; throws Failure when it does not end.
    int End();

  private:
    // The number of the line of the oldest event after the mark that has this name and these contents.
    size_t Await(const std::string &name, const Wanted &wanted, double seconds);
    // Sends a command and waits for its end. Returns the number of the line that shows its begin.
    size_t Do(const std::string &text);

    std::unique_ptr<Lines> lines_; // outlives the program that writes them
    std::unique_ptr<Process> process_;
    size_t mark_ = 0;
};
