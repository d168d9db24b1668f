// LocalWrongs.h - what the management process can do wrong on demand, and how its frames leave because of it.
//
// A misbehaviour is written NAME[@WHAT][=VALUE] [COUNT]: WHAT narrows it to the frames of one FuncID, by number or
// name, COUNT is how often it happens (until switched off when left out).
//
// State: one LocalMisbehaviour, one LocalSender. Threads: the caller's.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/Delivery.h"
#include "simulator/manager/LocalFrame.h"

namespace sim
{

enum class LocalWrong {
    Silent,
    Late,
    Status,
    WrongId,
    RepeatSequence,
    BadChecksum,
    BadHead,
    Oversized,
    Announce,
    Empty,
    Noise,
    TwoInOne,
    Twice,
    Split,
    Half,
    CloseMidFrame,
    Close,
    Disconnect,
};

struct LocalWrongRow {
    LocalWrong wrong;
    const char *name;
    const char *value; // how help names it; nullptr: takes none
    const char *valueUnset;
    int64_t low, high; // of the value; a time in milliseconds when `seconds`
    bool seconds;
    bool answersOnly;
    const char *help;
};

extern const std::vector<LocalWrongRow> kLocalWrongs;

struct ActiveLocalWrong {
    const LocalWrongRow *row;
    std::optional<uint16_t> id; // of the frames that it is for
    std::string text;           // of the value
    int64_t value;
    int64_t left; // times to come; -1: until switched off
};

// A frame that is to be sent.
struct LocalOutgoing {
    uint16_t id = 0;
    Bytes payload;
    bool answer = false;
    std::optional<uint32_t> sequence; // instead of the next number
    LocalOverrides overrides = {};
    bool raw = false; // the payload is sent as it stands, and no frame is made
};

class LocalMisbehaviour
{
  public:
    // Switches one on: "late@mesh=3 2" as words. False with the reason when it is none.
    bool Add(const Words &words, std::string *error);

    // Switches off what is called `name`, or everything when `name` is empty. Returns how many.
    size_t Off(const std::string &name);

    // Whether `wrong` happens to this frame: counts it down, and copies it to `*active`.
    bool Take(LocalWrong wrong, const LocalOutgoing &frame, ActiveLocalWrong *active);

    const std::vector<ActiveLocalWrong> &Active() const { return active_; }

  private:
    std::vector<ActiveLocalWrong> active_;
};

std::string LocalWrongText(const ActiveLocalWrong &active); // how it could be written again

// How a frame leaves.
struct LocalDelivery {
    LocalFrame frame;
    Delivery delivery;       // without chunks: nothing is sent
    bool disconnect = false; // the connection is closed instead
};

// Numbers frames.
class LocalSender
{
  public:
    explicit LocalSender(uint32_t first) : next_(first), last_(first - 1) {}

    LocalDelivery Deliver(const LocalOutgoing &outgoing, LocalMisbehaviour *misbehaviour);

  private:
    uint32_t Number();

    uint32_t next_;
    uint32_t last_; // number of the last frame
};

} // namespace sim
