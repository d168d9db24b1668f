#include "protocol/FunctionDecoders.h"

#include <algorithm>

#include "core/Wire.h"
#include "protocol/FieldValues.h"

namespace protocol
{

static const int kNotSupported = 7;

static std::string Count(size_t number)
{
    return std::to_string(number);
}

static std::string Short(const FieldLayout &field)
{
    return std::string(*field.name ? field.name : "header") + ": the data ends before it does";
}

static Fields TakeRecord(const Layout &layout, WireReader *r, std::string *problem);

// Records with one field are plain values.
static Field TakeListItem(const Layout &record, WireReader *r, std::string *problem)
{
    Fields fields = TakeRecord(record, r, problem);
    if (record.count != 1 || fields.size() != 1) return ObjectField("", fields);
    fields[0].name.clear();
    return fields[0];
}

static Field TakeList(const FieldLayout &field, WireReader *r, std::string *problem)
{
    const size_t size = FixedSize(field.record);
    Field list = ListField(field.name, {});
    size_t count = r->left / size;
    if (field.type == Type::CountedList) {
        count = WireGetLe16(r);
        if (r->failed)
            *problem = Short(field);
        else if (count * size > r->left)
            *problem = std::string(field.name) + ": " + Count(count) + " records of " + Count(size) +
                       " bytes are announced, and " + Count(r->left) + " bytes follow";
    } else if (r->left % size != 0) {
        *problem =
            std::string(field.name) + ": " + Count(r->left) + " bytes are no whole number of records of " + Count(size);
    }
    if (problem->empty() && count > field.most)
        *problem =
            std::string(field.name) + ": " + Count(count) + " records, and " + Count(field.most) + " are the most";
    for (size_t i = 0; i < count && problem->empty(); i++)
        list.children.push_back(TakeListItem(field.record, r, problem));
    return list;
}

// The error in the `size` bytes at `at`, which have no value of their own; `left` bytes follow them.
static std::string Wrong(const FieldLayout &field, const uint8_t *at, size_t left)
{
    WireReader r = WireRead(at, field.size);
    switch (field.type) {
    case Type::Zeros:
        return std::any_of(at, at + field.size, [](uint8_t byte) { return byte != 0; })
                   ? "bytes that must be zero are not"
                   : "";
    case Type::Always: {
        const size_t number = field.size == 1 ? WireGet8(&r) : WireGetLe16(&r);
        return number == field.most ? "" : Count(number) + " where " + Count(field.most) + " must stand";
    }
    case Type::Length: {
        const size_t announced = WireGetLe16(&r);
        return announced == left ? "" : Count(announced) + " bytes are announced, and " + Count(left) + " follow";
    }
    default: return "";
    }
}

static Fields TakeRecord(const Layout &layout, WireReader *r, std::string *problem)
{
    Fields fields;
    for (const FieldLayout &field : layout) {
        if (!problem->empty()) return {};
        if (IsList(field.type)) {
            fields.push_back(TakeList(field, r, problem));
            continue;
        }
        Field value;
        const uint8_t *at = r->data;
        if (TakeValue(field, r, &value))
            fields.push_back(value);
        else if (!r->failed)
            *problem = Wrong(field, at, r->left);
        if (r->failed) *problem = Short(field);
    }
    return fields;
}

Fields DecodeRecord(const Layout &layout, const Bytes &data, std::string *problem)
{
    problem->clear();
    if (IsFixed(layout) && data.size() != FixedSize(layout)) {
        *problem = Count(data.size()) + " bytes of data instead of " + Count(FixedSize(layout));
        return {};
    }
    WireReader r = WireRead(data.data(), data.size());
    const Fields fields = TakeRecord(layout, &r, problem);
    if (problem->empty() && r.left > 0) *problem = Count(r.left) + " bytes too many at the end of the data";
    return problem->empty() ? fields : Fields();
}

Fields DecodeReply(unsigned id, int status, const Bytes &data, std::vector<std::string> *problems)
{
    const Function *function = FindFunction(id);
    if (!function) return {};
    if (function->status == STATUS_NONE) {
        problems->push_back("this function has no reply");
        return {};
    }
    // A failure may consist of a status alone; so does the answer of an agent that does not have the function.
    if (data.empty() && status == kNotSupported) return {};
    if (function->status == STATUS_ZERO && status != 0)
        problems->push_back("status " + std::to_string(status) + " from a function that always answers 0");
    if (data.empty() && status != 0) return {};
    if (!function->Supported() && function->layout.reply.count == 0) return {};
    std::string problem;
    const Fields fields = DecodeRecord(function->layout.reply, data, &problem);
    if (!problem.empty()) problems->push_back(problem);
    return fields;
}

Fields DecodeRequest(unsigned id, const Bytes &parameters)
{
    const Function *function = FindFunction(id);
    std::string problem;
    if (!function || !function->Supported()) return {};
    return DecodeRecord(function->layout.request, parameters, &problem);
}

} // namespace protocol
