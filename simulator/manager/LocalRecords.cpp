#include "simulator/manager/LocalRecords.h"

#include <algorithm>

#include "protocol/FieldValues.h"
#include "protocol/FunctionDecoders.h"
#include "protocol/FunctionParameters.h"

namespace sim
{

bool MakeRecord(const char *command, const Layout &layout, const Words &words, Bytes *record, std::string *error)
{
    const Function made = {0, command, STATUS_UNKNOWN, VARIES, {"", layout}};
    return MakeParameters(made, words, record, error);
}

bool ChangeRecord(const Layout &layout, const Words &words, Bytes *record, std::string *error)
{
    Bytes changed = *record;
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        size_t at = 0;
        const FieldLayout *field = layout.begin();
        for (; field != layout.end() && name != field->name; field++) at += field->size;
        if (equals == std::string::npos || field == layout.end()) {
            *error = "'" + word + "' is no FIELD=VALUE of a " + layout.title;
            return false;
        }
        Bytes value;
        if (!PutValue(*field, word.substr(equals + 1), &value, error)) return false;
        std::copy(value.begin(), value.end(), changed.begin() + static_cast<std::ptrdiff_t>(at));
    }
    *record = changed;
    return true;
}

Fields ShowRecord(const Layout &layout, const Bytes &record)
{
    std::string problem;
    return DecodeRecord(layout, record, &problem);
}

Bytes WithAddressesTurned(const Layout &layout, Bytes record)
{
    auto at = record.begin();
    for (const FieldLayout &field : layout) {
        const auto end = at + static_cast<std::ptrdiff_t>(field.size);
        if (field.type == Type::Ip) std::reverse(at, end);
        at = end;
    }
    return record;
}

} // namespace sim
