#include "simulator/FunctionDecoders.h"

#include <cstdio>

#include "core/Wire.h"

namespace sim
{

std::string MacText(const Bytes &mac)
{
    return ToHex(mac, ':');
}

static Bytes TakeBytes(WireReader *r, size_t size)
{
    const uint8_t *at = WireTake(r, size);
    return at ? Bytes(at, at + size) : Bytes(size);
}

static std::string TakeText(WireReader *r, size_t size)
{
    return FieldText(TakeBytes(r, size));
}

// 64 bytes: the version's text and its date as century, year, month and day.
static Fields RouterVersionData(WireReader *r)
{
    const std::string text = TakeText(r, 60);
    const Bytes date = TakeBytes(r, 4);
    char day[32];
    snprintf(day, sizeof day, "%02u%02u-%02u-%02u", date[0], date[1], date[2], date[3]);
    return {TextField("version", text), TextField("date", day)};
}

// 295 bytes behind the header: who the router is and what it is made of.
static Fields IdentityData(WireReader *r)
{
    Fields fields;
    fields.push_back(TextField("mac", MacText(TakeBytes(r, 6))));
    fields.push_back(TextField("serial", TakeText(r, 64)));
    fields.push_back(TextField("vendor", TakeText(r, 64)));
    fields.push_back(TextField("model", TakeText(r, 64)));
    fields.push_back(TextField("cpu_model", TakeText(r, 40)));
    fields.push_back(NumberField("cpu_mhz", WireGetLe16(r), "MHz"));
    fields.push_back(NumberField("cpu_cores", WireGet8(r)));
    fields.push_back(NumberField("memory_kb", WireGetLe32(r), "KiB"));
    fields.push_back(TextField("memory_type", TakeText(r, 16)));
    fields.push_back(NumberField("plug", WireGet8(r)));
    fields.push_back(TextField("name", TakeText(r, 32)));
    fields.push_back(NumberField("ipv6", WireGet8(r)));
    return fields;
}

// The measured rate; all ones when the test failed, which the status says as well.
static Fields RateResultData(WireReader *r)
{
    return {NumberField("rate", static_cast<int32_t>(WireGetLe32(r)), "bytes/s")};
}

namespace
{
struct DecoderRow {
    unsigned id;
    size_t length; // of the data behind the status
    Fields (*decode)(WireReader *);
};

const DecoderRow kDecoders[] = {
    {1, 64, RouterVersionData},
    {2, 295, IdentityData},
    {62, 4, RateResultData},
};
} // namespace

Fields DecodeFunctionData(unsigned id, const Bytes &data, std::string *problem)
{
    for (const DecoderRow &row : kDecoders) {
        if (row.id != id) continue;
        if (data.size() != row.length) {
            *problem = std::to_string(data.size()) + " bytes of data instead of " + std::to_string(row.length);
            return {};
        }
        WireReader r = WireRead(data.data(), data.size());
        return row.decode(&r);
    }
    return {};
}

} // namespace sim
