// Layout.h - the layout of a record on the wire, as data: the parameters of a function, its reply, one record of a
// list. Everything that plugsim knows about such bytes comes from these rows.
//
// Integers are little-endian. State: none; everything here is a constant. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

namespace protocol
{

enum class Type : uint8_t {
    U8,
    U16,
    I16,
    U32,
    I32,
    U64,
    I64,
    Ip,          // IPv4, its octets in reverse: 192.168.1.20 is 14 01 A8 C0
    Mac,         // 6 bytes in the order they are written
    Date,        // 4 bytes: century, year, month, day
    Text,        // `size` bytes, zero-filled; a text that fills them has no terminator
    Opaque,      // `size` bytes without a meaning
    Zeros,       // `size` bytes that are not used
    Always,      // `size` bytes, a number that is always `most`
    Length,      // 16 bits: how many bytes follow
    TextToEnd,   // from here to the end of the record
    BytesToEnd,  // the same, not a text
    LongText,    // a 16-bit length and as many bytes
    List,        // records from here to the end
    CountedList, // a 16-bit count and as many records
};

struct FieldLayout;

// A whole record. One that several functions share has a title; every parameter of such a record may be left out.
struct Layout {
    const FieldLayout *fields = nullptr;
    size_t count = 0;
    const char *title = "";

    constexpr Layout() = default;
    template <size_t Count>
    // cppcheck-suppress noExplicitConstructor ; rows name the table of their fields alone
    constexpr Layout(const FieldLayout (&rows)[Count], const char *name = "") : fields(rows), count(Count), title(name)
    {
    }
    constexpr const FieldLayout *begin() const { return fields; }
    constexpr const FieldLayout *end() const;
    constexpr bool Shared() const { return *title != '\0'; }
};

// The names of a byte's values, from 0.
struct ValueNames {
    const char *const *names = nullptr;
    size_t count = 0;

    constexpr ValueNames() = default;
    template <size_t Count>
    // cppcheck-suppress noExplicitConstructor ; as above
    constexpr ValueNames(const char *const (&texts)[Count]) : names(texts), count(Count)
    {
    }
};

constexpr int64_t kMustBeGiven = INT64_MIN;

struct FieldLayout {
    Type type;
    const char *name;
    size_t size;                    // bytes; 0 when it depends on the content
    const char *about;              // what it is, for people
    const char *unit = "";          // of a number
    ValueNames values = {};         // of a U8
    Layout record = {};             // of a list
    size_t most = 0;                // greatest number of records of a list; the value of Always
    int64_t initial = kMustBeGiven; // of a number that may be left out
};

constexpr const FieldLayout *Layout::end() const
{
    return fields + count;
}

// ---- Fields, for the tables

constexpr FieldLayout Number(Type type, const char *name, const char *unit, const char *about)
{
    const size_t size = type == Type::U8                         ? 1
                        : type == Type::U16 || type == Type::I16 ? 2
                        : type == Type::U32 || type == Type::I32 ? 4
                                                                 : 8;
    return {type, name, size, about, unit};
}

constexpr FieldLayout Number(Type type, const char *name, const char *unit, const char *about, int64_t initial)
{
    FieldLayout field = Number(type, name, unit, about);
    field.initial = initial;
    return field;
}

constexpr FieldLayout Named(const char *name, ValueNames values, const char *about)
{
    return {Type::U8, name, 1, about, "", values};
}

constexpr const char *kOffOn[] = {"off", "on"};

constexpr FieldLayout Switch(const char *name, const char *about)
{
    return Named(name, kOffOn, about);
}

constexpr FieldLayout Ip(const char *name, const char *about)
{
    return {Type::Ip, name, 4, about};
}

constexpr FieldLayout Mac(const char *name, const char *about)
{
    return {Type::Mac, name, 6, about};
}

constexpr FieldLayout Date(const char *name, const char *about)
{
    return {Type::Date, name, 4, about};
}

constexpr FieldLayout Text(const char *name, size_t size, const char *about)
{
    return {Type::Text, name, size, about};
}

constexpr FieldLayout Opaque(const char *name, size_t size, const char *about)
{
    return {Type::Opaque, name, size, about};
}

constexpr FieldLayout Zeros(size_t size)
{
    return {Type::Zeros, "", size, "not used, zero"};
}

// A constant of 8 or 16 bits.
constexpr FieldLayout Always(size_t size, size_t number, const char *about)
{
    return {Type::Always, "", size, about, "", {}, {}, number};
}

constexpr FieldLayout Length()
{
    return {Type::Length, "", 2, "how many bytes follow"};
}

constexpr FieldLayout TextToEnd(const char *name, const char *about)
{
    return {Type::TextToEnd, name, 0, about};
}

constexpr FieldLayout BytesToEnd(const char *name, const char *about)
{
    return {Type::BytesToEnd, name, 0, about};
}

constexpr FieldLayout LongText(const char *name, const char *about)
{
    return {Type::LongText, name, 0, about};
}

constexpr FieldLayout List(const char *name, Layout record, size_t most, const char *about)
{
    return {Type::List, name, 0, about, "", {}, record, most};
}

constexpr FieldLayout CountedList(const char *name, Layout record, size_t most, const char *about)
{
    return {Type::CountedList, name, 0, about, "", {}, record, most};
}

// ---- Derived values

constexpr bool IsList(Type type)
{
    return type == Type::List || type == Type::CountedList;
}

constexpr bool TakesTheRest(Type type)
{
    return type == Type::TextToEnd || type == Type::LongText;
}

constexpr bool IsFixed(const Layout &layout)
{
    for (const FieldLayout &field : layout)
        if (field.size == 0) return false;
    return true;
}

// Bytes of a record whose fields all have a fixed size.
constexpr size_t FixedSize(const Layout &layout)
{
    size_t size = 0;
    for (const FieldLayout &field : layout) size += field.size;
    return size;
}

} // namespace protocol
