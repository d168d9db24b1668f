#include "simulator/manager/Household.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "protocol/FieldValues.h"
#include "protocol/FunctionLayouts.h"

namespace sim
{

namespace
{

// ---- Settings that are no function's answer

constexpr FieldLayout kBandsFields[] = {Number(Type::U8, "band0", "", "the answer for band 0"),
                                        Number(Type::U8, "band1", "", "the answer for band 1")};
constexpr Layout kBands = {kBandsFields};
constexpr FieldLayout kTextFields[] = {TextToEnd("text", "as it is told")};
constexpr Layout kText = {kTextFields};
constexpr FieldLayout kResultFields[] = {
    Number(Type::U8, "code", "", "0 done, 1 to 8 what went wrong; 255 to say nothing")};
constexpr Layout kResult = {kResultFields};

struct SettingRow {
    const char *name;
    int function; // whose answer it is; 0: the layout's
    Layout layout;
    const char *initial;
    const char *about;
};
const SettingRow kSettings[] = {
    {"wifi-band", 0, kBands, "2 5", "what function 70 answers for bands 0 and 1; others are refused"},
    {"mesh-support", 71, {}, "yes", "whether there can be a mesh"},
    {"mesh", 73, {}, "on", "the mesh"},
    {"roaming", 75, {}, "on", "roaming in the mesh"},
    {"thresholds", 77, {}, "70 60", "thresholds of roaming"},
    {"topology", 0, kText, "", "the text of the topology; empty: made from the nodes"},
    {"bssid", 0, kText,
     "{\"bssid\":[{\"band\":\"2.4G\",\"ssid\":\"Household\",\"mac\":\"021A2B000021\"},"
     "{\"band\":\"5G\",\"ssid\":\"Household-5G\",\"mac\":\"021A2B000025\"}]}",
     "the text about BSSIDs"},
    {"firmware-result", 0, kResult, "0", "how a firmware update ends that is handed over; 255: nothing is said"},
    {"version", 0, kText, "1.0.0-simulated", "version of the router's firmware"},
};

struct ListRow {
    const char *name;
    Layout layout;
    size_t most;
    std::vector<const char *> initial;
};
const ListRow kLists[] = {
    {"node",
     kNode,
     32,
     {"02:1a:2b:00:00:01 household role=router",
      "02:1a:2b:00:01:01 upstairs role=satellite parent=02:1a:2b:00:00:01 link=wifi-5g rssi=-58",
      "02:1a:2b:00:02:01 garden role=satellite parent=02:1a:2b:00:01:01 link=wired"}},
    {"neighbour",
     kNeighbour,
     kMaxScanned,
     {"02:1a:2b:00:0a:01 'Next door' WPA2-PSK rssi=-61 frequency=2412000 channel=1 bandwidth=20 load=34",
      "02:1a:2b:00:0a:02 Cafe none rssi=-74 frequency=2437000 channel=6 bandwidth=20 load=58",
      "02:1a:2b:00:0a:03 Third-floor WPA3-SAE rssi=-80 frequency=5220000 channel=44 bandwidth=80 load=12"}},
    {"device",
     kSeenDevice,
     kMaxSeenDevices,
     {"02:1a:2b:00:00:11 office-pc online=yes", "02:1a:2b:00:00:14 phone-anna online=yes",
      "02:1a:2b:00:00:15 phone-ben online=no"}},
    {"wan",
     kWan,
     ROUTER_SDK_WANS,
     {"0 pppoe 41 1492 INTERNET subscriber@example.net subscriber 02:1a:2b:00:00:02 198.51.100.20 255.255.255.255 "
      "198.51.100.1 198.51.100.53 203.0.113.53 1 yes"}},
};

Layout LayoutOf(const SettingRow &row)
{
    return row.function ? FindFunction(static_cast<unsigned>(row.function))->layout.reply : row.layout;
}

template <class Rows>
size_t IndexOf(const Rows &rows, const std::string &name)
{
    return static_cast<size_t>(
        std::find_if(std::begin(rows), std::end(rows), [&](const auto &row) { return name == row.name; }) -
        std::begin(rows));
}

Words Split(const char *text)
{
    Words words;
    std::string error;
    SplitWords(text, &words, &error);
    return words;
}

// The first field of a record, as people write it.
std::string KeyOf(const Layout &layout, const Bytes &record)
{
    return ShowRecord(layout, record)[0].value;
}

// The same for a key that a person wrote: "021A2B000011" is "02:1a:2b:00:00:11".
std::string Normal(const Layout &layout, const std::string &key)
{
    Bytes bytes;
    std::string error;
    if (!PutValue(*layout.begin(), key, &bytes, &error)) return key;
    bytes.resize(FixedSize(layout));
    return KeyOf(layout, bytes);
}

} // namespace

// A row of our own tables that does not fit its layout is a mistake in this file.
static void Must(bool done, const std::string &error)
{
    if (done) return;
    fprintf(stderr, "the initial household is wrong: %s\n", error.c_str());
    abort();
}

Household::Household()
{
    std::string error;
    for (const SettingRow &row : kSettings) {
        values_.emplace_back();
        Words words = Split(row.initial);
        words.insert(words.begin(), row.name);
        if (LayoutOf(row).begin()->type == Type::TextToEnd)
            values_.back() = ToBytes(row.initial);
        else
            Must(Set(words, &error), error);
    }
    for (const ListRow &row : kLists) {
        records_.emplace_back();
        for (const char *text : row.initial) {
            Words words = Split(text);
            words.insert(words.begin(), "add");
            Must(Edit(row.name, words, &error), error);
        }
    }
}

// ---- Settings

bool Household::Set(const Words &words, std::string *error)
{
    const size_t index = words.empty() ? std::size(kSettings) : IndexOf(kSettings, words[0]);
    if (index == std::size(kSettings)) {
        *error = words.empty() ? "set what?" : "there is no setting '" + words[0] + "'";
        return false;
    }
    const Layout layout = LayoutOf(kSettings[index]);
    const Words rest(words.begin() + 1, words.end());
    // No words are an empty text.
    if (rest.empty() && layout.begin()->type == Type::TextToEnd) {
        values_[index].clear();
        return true;
    }
    Bytes value;
    if (!MakeRecord(("set " + words[0]).c_str(), layout, rest, &value, error)) return false;
    values_[index] = value;
    return true;
}

const Bytes &Household::Value(const std::string &name) const
{
    return values_.at(IndexOf(kSettings, name));
}

void Household::SetValue(const std::string &name, const Bytes &value)
{
    values_.at(IndexOf(kSettings, name)) = value;
}

// ---- Lists

const std::vector<Bytes> &Household::Records(const std::string &list) const
{
    return records_.at(IndexOf(kLists, list));
}

const Bytes *Household::Find(const std::string &list, const std::string &key) const
{
    const Layout layout = ListLayout(list);
    const std::vector<Bytes> &records = Records(list);
    const auto found = std::find_if(records.begin(), records.end(),
                                    [&](const Bytes &record) { return KeyOf(layout, record) == Normal(layout, key); });
    return found == records.end() ? nullptr : &*found;
}

bool Household::Put(const std::string &list, const Bytes &record, std::string *error)
{
    const size_t index = IndexOf(kLists, list);
    if (const Bytes *old = Find(list, KeyOf(kLists[index].layout, record))) {
        records_[index][static_cast<size_t>(old - records_[index].data())] = record;
        return true;
    }
    if (records_[index].size() < kLists[index].most) {
        records_[index].push_back(record);
        return true;
    }
    *error = "there is room for " + std::to_string(kLists[index].most);
    return false;
}

bool Household::Add(size_t list, const Bytes &record, std::string *error)
{
    const ListRow &row = kLists[list];
    const std::string key = KeyOf(row.layout, record);
    if (!Find(row.name, key)) return Put(row.name, record, error);
    *error = "there is a " + std::string(row.name) + " " + key + " already";
    return false;
}

bool Household::Change(size_t list, const Words &words, std::string *error)
{
    const ListRow &row = kLists[list];
    const Bytes *old = words.empty() ? nullptr : Find(row.name, words[0]);
    *error = "there is no " + std::string(row.name) + (words.empty() ? "" : " " + words[0]);
    if (!old) return false;
    Bytes record = *old;
    const size_t at = static_cast<size_t>(old - records_[list].data());
    if (!ChangeRecord(row.layout, Words(words.begin() + 1, words.end()), &record, error)) return false;
    records_[list][at] = record;
    return true;
}

bool Household::Remove(size_t list, const std::string &key, std::string *error)
{
    const Bytes *old = Find(kLists[list].name, key);
    *error = "there is no " + std::string(kLists[list].name) + " " + key;
    if (!old) return false;
    records_[list].erase(records_[list].begin() + (old - records_[list].data()));
    return true;
}

bool Household::Edit(const std::string &list, const Words &words, std::string *error)
{
    const size_t index = IndexOf(kLists, list);
    const std::string verb = words.empty() ? "" : words[0];
    Words rest = words;
    if (!rest.empty()) rest.erase(rest.begin());
    if (verb == "add") {
        Bytes record;
        return MakeRecord((list + " add").c_str(), kLists[index].layout, rest, &record, error) &&
               Add(index, record, error);
    }
    if (verb == "change") return Change(index, rest, error);
    if (verb == "remove" && rest.size() == 1) return Remove(index, rest[0], error);
    if (verb == "clear" && rest.empty()) {
        records_[index].clear();
        return true;
    }
    *error = "use: " + list + " add ... | change KEY FIELD=VALUE... | remove KEY | clear";
    return false;
}

// ---- Answers made from them

std::string Household::Topology() const
{
    const Bytes &text = Value("topology");
    if (!text.empty()) return std::string(text.begin(), text.end());
    Fields nodes;
    for (const Bytes &record : Records("node")) nodes.push_back(ObjectField("", ShowRecord(kNode, record)));
    Field list = ListField("nodes", {});
    list.children = nodes;
    return ToJson({list});
}

Bytes Household::Scan() const
{
    Bytes data;
    for (Bytes record : Records("neighbour")) {
        record.resize(kScannedSize);
        Append(&data, record);
    }
    return data;
}

// ---- Display and help

bool Household::Show(const std::string &name, Fields *fields) const
{
    fields->clear();
    for (const SettingRow &row : kSettings) {
        if (!name.empty() && name != row.name) continue;
        const Fields shown = ShowRecord(LayoutOf(row), Value(row.name));
        Field field = shown.size() == 1 ? shown[0] : ObjectField("", shown);
        field.name = row.name;
        fields->push_back(field);
    }
    for (const ListRow &row : kLists) {
        if (!name.empty() && name != row.name) continue;
        Field list = ListField(row.name, {});
        for (const Bytes &record : Records(row.name))
            list.children.push_back(ObjectField("", ShowRecord(row.layout, record)));
        fields->push_back(list);
    }
    return !fields->empty();
}

std::vector<std::string> Household::SettingNames()
{
    std::vector<std::string> names;
    for (const SettingRow &row : kSettings) names.push_back(row.name);
    return names;
}

std::vector<std::string> Household::ListNames()
{
    std::vector<std::string> names;
    for (const ListRow &row : kLists) names.push_back(row.name);
    return names;
}

Layout Household::ListLayout(const std::string &list)
{
    return kLists[IndexOf(kLists, list)].layout;
}

std::string Household::SettingHelp()
{
    std::string text;
    for (const SettingRow &row : kSettings) {
        const std::string name = std::string("        ") + row.name;
        text += name + std::string(name.size() < 26 ? 26 - name.size() : 1, ' ') + row.about + "\n";
    }
    return text;
}

std::vector<std::string> Household::ValueNamesOf(const std::string &setting)
{
    const size_t index = IndexOf(kSettings, setting);
    if (index == std::size(kSettings)) return {};
    const ValueNames values = LayoutOf(kSettings[index]).begin()->values;
    return std::vector<std::string>(values.names, values.names + values.count);
}

} // namespace sim
