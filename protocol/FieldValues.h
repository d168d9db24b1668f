// FieldValues.h - one field of a layout: from a typed word to its bytes, and back to a named value.
// State: none. Threads: any.
#pragma once

#include <string>

#include "core/Wire.h"
#include "protocol/Bytes.h"
#include "protocol/Layout.h"
#include "protocol/Tree.h"

namespace protocol
{

// What a number of this type may be; of a type that is no number, anything.
struct NumberRange {
    int64_t low;
    uint64_t high;
};
NumberRange RangeOf(Type type);

// Appends the bytes of the value in `text`. False with a reason that names the field.
bool PutValue(const FieldLayout &field, const std::string &text, Bytes *out, std::string *error);

// Appends the bytes of a field that was not given: its initial value, else zeros, else an empty text.
void PutInitial(const FieldLayout &field, Bytes *out);

// Reads a field that is not a list; the reader has failed if bytes are missing. Named values and texts become texts,
// numbers become numbers. Returns false for a field without a value: Zeros, Always, Length.
bool TakeValue(const FieldLayout &field, WireReader *r, Field *value);

} // namespace protocol
