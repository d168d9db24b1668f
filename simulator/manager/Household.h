// Household.h - the router and its surroundings as the local peer knows them: settings and lists. Both are rows of
// tables, from which commands, answers and displays are made.
//
// State: one object. Threads: the caller's.
#pragma once

#include <string>
#include <vector>

#include "simulator/manager/LocalRecords.h"

namespace sim
{

constexpr uint8_t kNoFirmwareResult = 255; // value of the setting firmware-result: do not answer a hand-over

class Household
{
  public:
    // A mesh router with two satellites, their neighbours, the devices of a family and one WAN.
    Household();

    // ---- Settings

    // Changes a setting: the words "mesh on". Returns false with the reason.
    [[nodiscard]] bool Set(const Words &words, std::string *error);

    // Returns the bytes of a setting, as an answer has them; `name` must be a setting.
    [[nodiscard]] const Bytes &Value(const std::string &name) const;
    void SetValue(const std::string &name, const Bytes &value);
    uint8_t Number(const std::string &name) const { return Value(name)[0]; }

    // ---- Lists

    // Changes the list `list` by the words "add ...", "change KEY FIELD=VALUE...", "remove KEY" or "clear". KEY is the
    // first field of a record. Returns false with the reason.
    [[nodiscard]] bool Edit(const std::string &list, const Words &words, std::string *error);

    // Returns all records of a list.
    [[nodiscard]] const std::vector<Bytes> &Records(const std::string &list) const;

    // Replaces the record with the same first field, or appends the record. Returns false with the reason.
    [[nodiscard]] bool Put(const std::string &list, const Bytes &record, std::string *error);

    // Returns the record whose first field is `key`, or nullptr.
    [[nodiscard]] const Bytes *Find(const std::string &list, const std::string &key) const;

    // ---- Answers made from them

    std::string Topology() const; // the setting, or the nodes as JSON when it is empty
    Bytes Scan() const;           // the neighbours as a scan answers them

    // ---- Display and help

    // Shows one setting or list, all for an empty name. Returns false when there is no such name.
    [[nodiscard]] bool Show(const std::string &name, Fields *fields) const;
    static std::vector<std::string> SettingNames();
    static std::vector<std::string> ListNames();
    static Layout ListLayout(const std::string &list);
    static std::string SettingHelp(); // a line each
    // The values that a setting can have.
    static std::vector<std::string> ValueNamesOf(const std::string &setting);

  private:
    bool Add(size_t list, const Bytes &record, std::string *error);
    bool Change(size_t list, const Words &words, std::string *error);
    bool Remove(size_t list, const std::string &key, std::string *error);

    std::vector<Bytes> values_;               // in the order of the table of settings
    std::vector<std::vector<Bytes>> records_; // in the order of the table of lists
};

} // namespace sim
