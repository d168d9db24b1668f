// Fields.h - one field of a record to or from one JSON value: the kinds of fields, their checks and their conversion.
// State:    none.
// Threads:  every procedure is safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

struct cJSON;

enum FieldKind : uint8_t {
    FIELD_TEXT,     // string that fits into `size` bytes with its NUL
    FIELD_NUMBER,   // whole number from `min` to `max`; `size` is 1, 2, 4 or 8; signed when `min` is negative
    FIELD_SWITCH,   // true or false, one byte
    FIELD_SWITCHES, // list of at most `size` of them
    FIELD_ADDRESS,  // "192.168.1.1"
    FIELD_MAC,      // "02:1a:2b:00:00:14"
    FIELD_WORD,     // one of `words`, divided by blanks; the byte is its place from 0
    FIELD_DATE,     // "2024-06-01", kept as century, year, month and day
};

// No pointers in it: a table of these needs no relocation and stays shared between processes.
struct Field {
    char name[16];
    FieldKind kind;
    uint16_t offset; // in its record
    uint16_t size;
    int64_t min;
    int64_t max;
    char words[28];
};

// Reads the value into the record. Returns null. When the value is not as the field wants it, the record is as it was
// and the return value says what would have been right; `text` is room for that answer.
[[nodiscard]] const char *ReadField(const Field *field, void *record, const cJSON *value, char text[80]);

// The field's value as a new JSON value, which the caller deletes or adds to a document; null when memory ran out.
[[nodiscard]] cJSON *WriteField(const Field *field, const void *record);

// Reads six pairs of hex digits with colons between. False, and `mac` is as it was, for anything else.
[[nodiscard]] bool ParseMac(const char *text, uint8_t mac[6]);

// The same for the member "mac" of an object; false also when there is none.
[[nodiscard]] bool ParseMacMember(const cJSON *object, uint8_t mac[6]);
