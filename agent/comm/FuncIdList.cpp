#include "comm/FuncIdList.h"

#include <cstddef>
#include <iterator>

#include "comm/CommFrame.h"

static constexpr FuncIdRow kRows[] = {
#define FUNCID_ROW(number, constant, name, text, request, arrival) {number, REQUEST_##request, ARRIVAL_##arrival, text},
    FUNCID_LIST(FUNCID_ROW)
#undef FUNCID_ROW
};

static constexpr bool Ascending()
{
    for (size_t i = 1; i < std::size(kRows); i++)
        if (kRows[i].id <= kRows[i - 1].id) return false;
    return true;
}
static_assert(Ascending(), "a number stands twice or out of order");

// CommFrameCut() takes the first of three head bytes in a row for a stray one.
static constexpr bool NoneBeginsLikeAHead()
{
    for (const FuncIdRow &row : kRows)
        if ((row.id & 0xFF) == kCommHeadByte) return false;
    return true;
}
static_assert(NoneBeginsLikeAHead(), "the low byte of a number is the head byte");

const FuncIdRow *FuncIdFind(uint32_t id)
{
    for (const FuncIdRow &row : kRows)
        if (row.id == id) return &row;
    return nullptr;
}
