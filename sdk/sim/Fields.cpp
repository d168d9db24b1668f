#include "sdk/sim/Fields.h"

#include <arpa/inet.h>
#include <cinttypes>
#include <cjson/cJSON.h>
#include <cstdio>
#include <cstring>

static int HexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool ParseMac(const char *text, uint8_t mac[6])
{
    if (strlen(text) != 17) return false;
    uint8_t bytes[6];
    for (int i = 0; i < 6; i++, text += 3) {
        const int high = HexDigit(text[0]), low = HexDigit(text[1]);
        if (high < 0 || low < 0 || text[2] != (i < 5 ? ':' : '\0')) return false;
        bytes[i] = uint8_t(high << 4 | low);
    }
    memcpy(mac, bytes, sizeof bytes);
    return true;
}

bool ParseMacMember(const cJSON *object, uint8_t mac[6])
{
    const cJSON *value = cJSON_GetObjectItemCaseSensitive(object, "mac");
    return cJSON_IsString(value) && ParseMac(value->valuestring, mac);
}

// Numbers in the records may stand anywhere, so they are copied, low bytes first as on the routers.
static void StoreNumber(const Field *field, uint8_t *place, int64_t number)
{
    memcpy(place, &number, field->size);
}

static int64_t FetchNumber(const Field *field, const uint8_t *place)
{
    uint64_t number = 0;
    memcpy(&number, place, field->size);
    const int unused = 64 - field->size * 8;
    if (field->min < 0 && unused) return int64_t(number << unused) >> unused;
    return int64_t(number);
}

static bool ReadNumber(const Field *field, uint8_t *place, const cJSON *value)
{
    if (!cJSON_IsNumber(value)) return false;
    const double number = value->valuedouble;
    if (!(number >= double(field->min) && number <= double(field->max))) return false;
    if (number != double(int64_t(number))) return false;
    StoreNumber(field, place, int64_t(number));
    return true;
}

static bool ReadSwitches(const Field *field, uint8_t *place, const cJSON *value)
{
    if (!cJSON_IsArray(value) || cJSON_GetArraySize(value) > field->size) return false;
    const cJSON *item;
    cJSON_ArrayForEach(item, value)
    {
        if (!cJSON_IsBool(item)) return false;
    }
    size_t i = 0;
    cJSON_ArrayForEach(item, value) place[i++] = cJSON_IsTrue(item) ? 1 : 0;
    memset(place + i, 0, field->size - i);
    return true;
}

static bool ReadWord(const Field *field, uint8_t *place, const char *text)
{
    uint8_t at = 0;
    const size_t length = strlen(text);
    for (const char *word = field->words; length; at++) {
        const size_t wordLength = strcspn(word, " ");
        if (wordLength == length && memcmp(word, text, length) == 0) {
            *place = at;
            return true;
        }
        if (!word[wordLength]) return false;
        word += wordLength + 1;
    }
    return false;
}

static bool ReadDate(uint8_t *place, const char *text)
{
    int century, year, month, day, end = 0;
    if (sscanf(text, "%2d%2d-%2d-%2d%n", &century, &year, &month, &day, &end) != 4 || end != 10 || text[end])
        return false;
    if (century < 0 || year < 0 || month < 1 || month > 12 || day < 1 || day > 31) return false;
    const uint8_t date[4] = {uint8_t(century), uint8_t(year), uint8_t(month), uint8_t(day)};
    memcpy(place, date, sizeof date);
    return true;
}

const char *ReadField(const Field *field, void *record, const cJSON *value, char text[80])
{
    uint8_t *place = static_cast<uint8_t *>(record) + field->offset;
    const char *string = cJSON_IsString(value) ? value->valuestring : nullptr;
    switch (field->kind) {
    case FIELD_TEXT:
        if (string && strlen(string) < field->size) {
            memset(place, 0, field->size);
            memcpy(place, string, strlen(string));
            return nullptr;
        }
        snprintf(text, 80, "a text of at most %d bytes", field->size - 1);
        return text;
    case FIELD_NUMBER:
        if (ReadNumber(field, place, value)) return nullptr;
        snprintf(text, 80, "a whole number from %" PRId64 " to %" PRId64, field->min, field->max);
        return text;
    case FIELD_SWITCH:
        if (!cJSON_IsBool(value)) return "true or false";
        *place = cJSON_IsTrue(value) ? 1 : 0;
        return nullptr;
    case FIELD_SWITCHES:
        if (ReadSwitches(field, place, value)) return nullptr;
        snprintf(text, 80, "a list of at most %d times true or false", int(field->size));
        return text;
    case FIELD_ADDRESS: return string && inet_pton(AF_INET, string, place) == 1 ? nullptr : "an IPv4 address in quotes";
    case FIELD_MAC: return string && ParseMac(string, place) ? nullptr : "a MAC like \"02:1a:2b:00:00:14\"";
    case FIELD_WORD:
        if (string && ReadWord(field, place, string)) return nullptr;
        snprintf(text, 80, "one of the words %s", field->words);
        return text;
    case FIELD_DATE: return string && ReadDate(place, string) ? nullptr : "a date like \"2024-06-01\"";
    }
    return "nothing";
}

static cJSON *WriteSwitches(const Field *field, const uint8_t *place)
{
    cJSON *list = cJSON_CreateArray();
    for (int i = 0; list && i < field->size; i++) cJSON_AddItemToArray(list, cJSON_CreateBool(place[i]));
    return list;
}

static cJSON *WriteWord(const Field *field, uint8_t at)
{
    const char *word = field->words;
    while (at-- && *word) {
        word += strcspn(word, " ");
        word += *word == ' ';
    }
    char text[sizeof field->words];
    snprintf(text, sizeof text, "%.*s", int(strcspn(word, " ")), word);
    return cJSON_CreateString(text);
}

cJSON *WriteField(const Field *field, const void *record)
{
    const uint8_t *place = static_cast<const uint8_t *>(record) + field->offset;
    char text[INET_ADDRSTRLEN + 8] = "";
    switch (field->kind) {
    case FIELD_TEXT: return cJSON_CreateString(reinterpret_cast<const char *>(place));
    case FIELD_NUMBER: return cJSON_CreateNumber(double(FetchNumber(field, place)));
    case FIELD_SWITCH: return cJSON_CreateBool(*place);
    case FIELD_SWITCHES: return WriteSwitches(field, place);
    case FIELD_ADDRESS: inet_ntop(AF_INET, place, text, sizeof text); break;
    case FIELD_MAC:
        snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", place[0], place[1], place[2], place[3], place[4],
                 place[5]);
        break;
    case FIELD_WORD: return WriteWord(field, *place);
    case FIELD_DATE: snprintf(text, sizeof text, "%02d%02d-%02d-%02d", place[0], place[1], place[2], place[3]); break;
    }
    return cJSON_CreateString(text);
}
