#include "sdk/linux/settings/State.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Pages.h"
#include "sdk/linux/base/Say.h"

static const char kFirstLine[] = "plug-router-state 1\n";
static const size_t kMaxLine = 2048;
static const size_t kMaxFile = 256 * 1024;
static const size_t kMaxStatePath = 300;

// Only what is used is cleared: the rest are pages that the process has never touched.
static void Clear(State *state)
{
    const size_t used = state->deviceCount <= kMaxSettings ? state->deviceCount : kMaxSettings;
    memset(state, 0, offsetof(State, devices) + used * sizeof state->devices[0]);
}

// ---- Places ----

DeviceSettings *FindSettings(State *state, const uint8_t mac[6])
{
    for (uint16_t i = 0; i < state->deviceCount; i++)
        if (SameMac(state->devices[i].mac, mac)) return &state->devices[i];
    return nullptr;
}

static bool IsFree(const DeviceSettings &device)
{
    return !device.refused && !device.maxUp && !device.maxDown && !device.name[0];
}

DeviceSettings *MakeSettings(State *state, const uint8_t mac[6])
{
    DeviceSettings *place = FindSettings(state, mac);
    if (place) return place;
    if (state->deviceCount < kMaxSettings) place = &state->devices[state->deviceCount++];
    for (uint16_t i = 0; !place && i < kMaxSettings; i++)
        if (IsFree(state->devices[i])) place = &state->devices[i];
    if (!place) return nullptr;
    memset(place, 0, sizeof *place);
    memcpy(place->mac, mac, sizeof place->mac);
    return place;
}

SsidSettings *MakeSsidSettings(State *state, const char *interface)
{
    SsidSettings *free = nullptr;
    for (SsidSettings &ssid : state->ssids) {
        if (strcmp(ssid.interface, interface) == 0) return &ssid;
        if (!free && !ssid.interface[0]) free = &ssid;
    }
    if (free) CopyText(free->interface, sizeof free->interface, interface);
    return free;
}

bool HasRoomForSsid(const State *state, const char *interface)
{
    for (const SsidSettings &ssid : state->ssids)
        if (!ssid.interface[0] || strcmp(ssid.interface, interface) == 0) return true;
    return false;
}

// ---- Writing ----

namespace
{
struct Text {
    char *data;
    size_t length;
    bool full;
};
} // namespace

static void Append(Text *text, const char *format, ...) __attribute__((format(printf, 2, 3)));
static void Append(Text *text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text->data + text->length, kMaxFile - text->length, format, arguments);
    va_end(arguments);
    if (length < 0 || size_t(length) >= kMaxFile - text->length)
        text->full = true;
    else
        text->length += size_t(length);
}

static void AppendText(Text *text, const char *name, const char *value)
{
    char word[kMaxUrl * 3 + 1];
    if (!value[0]) return;
    if (!WriteWord(value, word, sizeof word)) text->full = true;
    Append(text, " %s=%s", name, word);
}

static uint32_t CheckSum(const char *data, size_t length)
{
    uint32_t sum = 2166136261u;
    for (size_t i = 0; i < length; i++) sum = (sum ^ static_cast<unsigned char>(data[i])) * 16777619u;
    return sum;
}

static void WriteState(Text *text, const State *state)
{
    char mac[kMacText];
    Append(text, "%srouter", kFirstLine);
    WriteMac(state->routerMac, mac);
    Append(text, " mac=%s", mac);
    AppendText(text, "name", state->name);
    AppendText(text, "http_test_url", state->httpTestUrl);
    for (size_t i = 0; i < kFullLoads; i++)
        if (state->fullLoad[i]) Append(text, " full_load=%zu", i);
    if (state->hasWps) Append(text, " wps=%u", state->wps);
    Append(text, "\n");
    for (uint16_t i = 0; i < state->deviceCount; i++) {
        const DeviceSettings &device = state->devices[i];
        if (IsFree(device)) continue;
        WriteMac(device.mac, mac);
        Append(text, "device mac=%s refused=%u up=%lld down=%lld", mac, device.refused,
               static_cast<long long>(device.maxUp), static_cast<long long>(device.maxDown));
        AppendText(text, "name", device.name);
        Append(text, "\n");
    }
    for (const SsidSettings &ssid : state->ssids) {
        if (!ssid.hasRecord && !ssid.hasSwitch) continue;
        Append(text, "ssid interface=%s", ssid.interface);
        if (ssid.hasSwitch) Append(text, " on=%u", ssid.on);
        if (ssid.hasRecord) {
            Append(text, " hidden=%u channel=%u open=%u", ssid.hidden, ssid.channel, ssid.open);
            AppendText(text, "ssid", ssid.ssid);
            AppendText(text, "key", ssid.key);
        }
        Append(text, "\n");
    }
    const uint32_t sum = CheckSum(text->data, text->length);
    Append(text, "end %08x\n", sum);
}

bool SaveState(const char *path, const State *state)
{
    Pages<char> room(kMaxFile);
    Text text = {room.Get(), 0, false};
    if (!text.data) return false;
    WriteState(&text, state);
    bool good = !text.full;
    if (!good) errno = EFBIG;
    // The link shares the old file's bytes, which stay when the new file takes its name.
    char last[kMaxStatePath], fresh[kMaxStatePath];
    snprintf(last, sizeof last, "%s.last", path);
    snprintf(fresh, sizeof fresh, "%s.last.new", path);
    if (good) {
        unlink(fresh);
        const bool linked = link(path, fresh) == 0;
        good = WriteFileWhole(path, text.data, text.length, 0600);
        const int error = errno;
        if (linked && good) rename(fresh, last);
        unlink(fresh); // gone already, unless the writing failed
        errno = error;
    }
    return good;
}

// ---- Reading ----

// One word "name=value" of a line, or false at its end. `*line` moves on; the words are terminated in place.
static bool NextWord(char **line, char **name, char **value)
{
    *name = strsep(line, " ");
    if (!*name) return false;
    *value = strchr(*name, '=');
    if (!*value) return false;
    *(*value)++ = '\0';
    return true;
}

// Reads a number and says whether it was one; a macro would have to spell the cast each time.
template <typename Number>
static bool Take(const char *value, int64_t most, Number *number)
{
    int64_t read;
    if (!ReadNumber(value, 0, most, &read)) return false;
    *number = Number(read);
    return true;
}

static bool ReadRouter(char *line, State *state)
{
    char *name, *value;
    while (line && NextWord(&line, &name, &value)) {
        int64_t selector = 0;
        bool good = false;
        if (strcmp(name, "mac") == 0) good = ReadMac(value, state->routerMac);
        if (strcmp(name, "name") == 0) good = ReadWord(value, state->name, sizeof state->name);
        if (strcmp(name, "http_test_url") == 0) good = ReadWord(value, state->httpTestUrl, sizeof state->httpTestUrl);
        if (strcmp(name, "full_load") == 0) {
            good = ReadNumber(value, 0, kFullLoads - 1, &selector);
            if (good) state->fullLoad[selector] = 1;
        }
        if (strcmp(name, "wps") == 0) state->hasWps = good = Take(value, 1, &state->wps);
        if (!good) return false;
    }
    return !line;
}

static bool ReadDevice(char *line, State *state)
{
    char *name, *value;
    DeviceSettings device = {};
    while (line && NextWord(&line, &name, &value)) {
        bool good = false;
        if (strcmp(name, "mac") == 0) good = ReadMac(value, device.mac);
        if (strcmp(name, "refused") == 0) good = Take(value, 1, &device.refused);
        if (strcmp(name, "up") == 0) good = Take(value, INT64_MAX, &device.maxUp);
        if (strcmp(name, "down") == 0) good = Take(value, INT64_MAX, &device.maxDown);
        if (strcmp(name, "name") == 0) good = ReadWord(value, device.name, sizeof device.name);
        if (!good) return false;
    }
    if (line || !IsDeviceMac(device.mac) || state->deviceCount == kMaxSettings) return false;
    state->devices[state->deviceCount++] = device;
    return true;
}

static bool ReadSsid(char *line, State *state)
{
    char *name, *value;
    SsidSettings ssid = {};
    while (line && NextWord(&line, &name, &value)) {
        bool good = false;
        if (strcmp(name, "interface") == 0 && (good = IsInterfaceName(value)))
            CopyText(ssid.interface, sizeof ssid.interface, value);
        if (strcmp(name, "on") == 0) ssid.hasSwitch = good = Take(value, 1, &ssid.on);
        if (strcmp(name, "hidden") == 0) ssid.hasRecord = good = Take(value, 1, &ssid.hidden);
        if (strcmp(name, "open") == 0) good = Take(value, 1, &ssid.open);
        if (strcmp(name, "channel") == 0) good = Take(value, 255, &ssid.channel);
        if (strcmp(name, "ssid") == 0) good = ReadWord(value, ssid.ssid, sizeof ssid.ssid);
        if (strcmp(name, "key") == 0) good = ReadWord(value, ssid.key, sizeof ssid.key);
        if (!good) return false;
    }
    if (line || !ssid.interface[0]) return false;
    SsidSettings *place = MakeSsidSettings(state, ssid.interface);
    if (place) *place = ssid;
    return place != nullptr;
}

static bool ReadLines(const char *text, const char *end, State *state)
{
    char copy[kMaxLine];
    while (text < end) {
        const size_t length = strcspn(text, "\n");
        if (length >= sizeof copy) return false;
        memcpy(copy, text, length);
        copy[length] = '\0';
        char *line = copy;
        const char *kind = strsep(&line, " ");
        bool good = false;
        if (strcmp(kind, "router") == 0) good = ReadRouter(line, state);
        if (strcmp(kind, "device") == 0) good = ReadDevice(line, state);
        if (strcmp(kind, "ssid") == 0) good = ReadSsid(line, state);
        if (!good) return false;
        text += length + 1;
    }
    return true;
}

bool ReadState(const char *text, State *state)
{
    static const size_t lastLine = sizeof "end 01234567\n" - 1;
    Clear(state);
    const size_t length = strlen(text);
    const size_t first = sizeof kFirstLine - 1;
    if (length < first + lastLine || strncmp(text, kFirstLine, first) != 0) return false;
    const char *end = text + length - lastLine;
    char expected[lastLine + 1];
    snprintf(expected, sizeof expected, "end %08x\n", CheckSum(text, size_t(end - text)));
    if (end[-1] == '\n' && strcmp(end, expected) == 0 && ReadLines(text + first, end, state)) return true;
    Clear(state);
    return false;
}

// Reads one file. Returns STATE_LOADED, STATE_NONE or STATE_FAILED.
static StateLoad LoadFile(const char *path, State *state)
{
    Clear(state);
    Pages<char> text(kMaxFile);
    if (!text.Get()) return STATE_FAILED;
    const long length = ReadFile(path, text.Get(), kMaxFile);
    if (length < 0) return errno == ENOENT ? STATE_NONE : STATE_FAILED;
    return strlen(text.Get()) == size_t(length) && ReadState(text.Get(), state) ? STATE_LOADED : STATE_FAILED;
}

StateLoad LoadState(const char *path, State *state)
{
    const StateLoad result = LoadFile(path, state);
    if (result == STATE_LOADED) return result;
    char last[kMaxStatePath], bad[kMaxStatePath];
    snprintf(last, sizeof last, "%s.last", path);
    snprintf(bad, sizeof bad, "%s.bad", path);
    const StateLoad before = LoadFile(last, state);
    if (result == STATE_NONE && before != STATE_LOADED) return STATE_NONE;
    if (result == STATE_FAILED) rename(path, bad);
    if (before == STATE_LOADED) {
        Say("%s is %s; the one before it is used", path, result == STATE_NONE ? "missing" : "damaged");
        return STATE_LAST;
    }
    Say("%s and the one before it are damaged; the router starts without settings", path);
    return STATE_FAILED;
}
