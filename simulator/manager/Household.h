// Household.h - what the management process knows of its router and its surroundings: a few settings and a few lists,
// both rows of tables, so that commands, answers and what is shown are made from the same place.
//
// State: one object. Threads: the caller's.
#pragma once

#include <string>
#include <vector>

#include "simulator/manager/LocalRecords.h"

namespace sim
{

constexpr uint8_t kNoFirmwareResult = 255; // of the setting firmware-result: a hand-over is not answered

class Household
{
  public:
    // A mesh router with two satellites, their neighbours, the devices of a family and one WAN.
    Household();

    // ---- Settings

    // Changes a setting: "mesh on" as words. False with the reason.
    bool Set(const Words &words, std::string *error);

    // The bytes of a setting, as an answer carries them; its name has to be one.
    const Bytes &Value(const std::string &name) const;
    void SetValue(const std::string &name, const Bytes &value);
    uint8_t Number(const std::string &name) const { return Value(name)[0]; }

    // ---- Lists

    // "add ...", "change KEY FIELD=VALUE...", "remove KEY" or "clear" as words for the list `list`. KEY is the first
    // field of a record. False with the reason.
    bool Edit(const std::string &list, const Words &words, std::string *error);

    const std::vector<Bytes> &Records(const std::string &list) const;

    // Puts a record in the place of the one with the same first field, or behind the last.
    bool Put(const std::string &list, const Bytes &record, std::string *error);

    // The record whose first field is `key`; nullptr when there is none.
    const Bytes *Find(const std::string &list, const std::string &key) const;

    // ---- What is made of them

    std::string Topology() const; // the setting, or the nodes as JSON when it is empty
    Bytes Scan() const;           // the neighbours as a scan answers them

    // ---- All of it

    // One setting or list, all for an empty name. False when there is no such thing.
    bool Show(const std::string &name, Fields *fields) const;
    static std::vector<std::string> SettingNames();
    static std::vector<std::string> ListNames();
    static Layout ListLayout(const std::string &list);
    static std::string SettingHelp(); // a line each
    // What may follow `set`'s words and those of a list's command.
    static std::vector<std::string> ValueNamesOf(const std::string &setting);

  private:
    bool Add(size_t list, const Bytes &record, std::string *error);
    bool Change(size_t list, const Words &words, std::string *error);
    bool Remove(size_t list, const std::string &key, std::string *error);

    std::vector<Bytes> values_;               // in the order of the table of settings
    std::vector<std::vector<Bytes>> records_; // in the order of the table of lists
};

} // namespace sim
