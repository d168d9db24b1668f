#include "protocol/LayoutText.h"

namespace protocol
{

namespace
{
// The offset of a field: a number of bytes and, behind lists, multiples of their counts.
struct Place {
    size_t bytes;
    std::string counts;
    char nextCount = 'n'; // n, m: no layout has more than two lists

    std::string Text() const { return std::to_string(bytes) + counts; }
};
} // namespace

static std::string Multiple(size_t size, char count)
{
    return (size == 1 ? "" : std::to_string(size) + " ") + count;
}

static std::string TypeText(const FieldLayout &field)
{
    switch (field.type) {
    case Type::U8: return "u8";
    case Type::U16: return "u16";
    case Type::I16: return "i16";
    case Type::U32: return "u32";
    case Type::I32: return "i32";
    case Type::U64: return "u64";
    case Type::I64: return "i64";
    case Type::Ip: return "ip";
    case Type::Mac: return "mac";
    case Type::Date: return "date";
    case Type::Text:
    case Type::TextToEnd:
    case Type::LongText: return "text";
    case Type::Opaque:
    case Type::BytesToEnd: return "bytes";
    case Type::Zeros: return "";
    case Type::Always: return field.size == 1 ? "u8" : "u16";
    case Type::Length: return "u16";
    case Type::List:
    case Type::CountedList: return field.record.Shared() ? "records" : TypeText(*field.record.begin());
    }
    return "";
}

static std::string AboutText(const FieldLayout &field)
{
    std::string text = field.about;
    if (*field.unit) text += std::string(text.empty() ? "" : "; ") + field.unit;
    for (size_t i = 0; i < field.values.count; i++)
        text += (i == 0 ? ": " : ", ") + std::to_string(i) + ' ' + field.values.names[i];
    if (field.type == Type::Always) text = "always " + std::to_string(field.most) + (text.empty() ? "" : ": ") + text;
    if (field.initial != kMustBeGiven) text += "; plugsim sends " + std::to_string(field.initial) + " unless told";
    if (IsList(field.type)) {
        text += "; at most " + std::to_string(field.most);
        if (field.record.Shared()) text += std::string(", each a ") + field.record.title;
    }
    return text;
}

static void AddRows(const FieldLayout &field, Place *place, std::vector<LayoutRow> *rows)
{
    const std::string type = TypeText(field);
    const bool counted = field.type == Type::CountedList;
    if (counted || field.type == Type::LongText) {
        rows->push_back(
            {place->Text(), "2", "u16", "",
             counted ? std::string(1, place->nextCount) + ", how many follow" : std::string("n, bytes of the text")});
        place->bytes += 2;
    }
    std::string size = std::to_string(field.size);
    if (field.type == Type::LongText)
        size = "n";
    else if (IsList(field.type))
        size = Multiple(FixedSize(field.record), place->nextCount--);
    else if (field.size == 0)
        size = "to the end";
    rows->push_back({place->Text(), size, type, field.name, AboutText(field)});
    place->bytes += field.size;
    if (field.size == 0) place->counts += " + " + size;
}

static Place Walk(const Layout &layout, size_t start, std::vector<LayoutRow> *rows)
{
    Place place = {start, ""};
    for (const FieldLayout &field : layout) AddRows(field, &place, rows);
    return place;
}

std::vector<LayoutRow> LayoutRows(const Layout &layout, size_t start)
{
    std::vector<LayoutRow> rows;
    Walk(layout, start, &rows);
    return rows;
}

std::string LengthText(const Layout &layout, size_t header)
{
    std::vector<LayoutRow> rows;
    const Place end = Walk(layout, header, &rows);
    return !rows.empty() && rows.back().size == "to the end" ? std::to_string(end.bytes) + " and more" : end.Text();
}

std::string StatusText(const Function &function)
{
    switch (function.status) {
    case STATUS_ZERO: return "always 0";
    case STATUS_HOST: return "router";
    case STATUS_PROTOCOL: return "agent";
    case STATUS_NONE: return "no reply";
    case STATUS_UNKNOWN: break;
    }
    return "not supported";
}

std::string ReplyText(const Function &function)
{
    if (function.status == STATUS_NONE) return "No reply.";
    return "Reply: " + LengthText(function.layout.reply, kReplyHeader) + " bytes, status: " + StatusText(function) +
           ".";
}

std::vector<Layout> RecordsOf(const Layout &layout)
{
    std::vector<Layout> records;
    for (const FieldLayout &field : layout)
        if (IsList(field.type) && field.record.Shared()) records.push_back(field.record);
    return records;
}

std::string RecordHeading(const Layout &record)
{
    return std::string(record.title) + ", " + std::to_string(FixedSize(record)) + " bytes";
}

} // namespace protocol
