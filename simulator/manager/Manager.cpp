#include "simulator/manager/Manager.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <unistd.h>

#include "comm/FuncIdList.h"
#include "simulator/manager/LocalCommands.h"
#include "simulator/manager/LocalFaults.h"
#include "simulator/manager/ReportTimetable.h"

namespace sim
{

static const size_t kMaxShown = 256; // bytes of a bad frame
static const size_t kMaxTurns = 1000;

static double WallTime()
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

static uint32_t FirstSequence(const ManagerOptions &options)
{
    return options.sequence.value_or(static_cast<uint32_t>(time(nullptr)));
}

Manager::Manager(const ManagerOptions &options, Loop *loop, Journal *journal)
    : options_(options), loop_(loop), journal_(journal), autoReport_(options.state),
      faults_(kLocalFaults, options.faults), sender_(FirstSequence(options)),
      socket_(
          loop, options.socket, [this](int fd) { Connected(fd); },
          [this](const std::string &reason) {
              journal_->Emit("waiting", {TextField("socket", options_.socket), TextField("reason", reason)});
          }),
      reports_(options.reports)
{
}

Manager::~Manager()
{
    ClearTimetable();
    for (const uint64_t timer : reportTimers_) loop_->Cancel(timer);
}

// ---- Start

bool Manager::EditHousehold(const Words &words, bool *known, std::string *error)
{
    const std::vector<std::string> lists = Household::ListNames();
    *known = words[0] == "set" || std::find(lists.begin(), lists.end(), words[0]) != lists.end();
    if (!*known) return false;
    const Words rest(words.begin() + 1, words.end());
    return words[0] == "set" ? household_.Set(rest, error) : household_.Edit(words[0], rest, error);
}

bool Manager::LoadHousehold(std::string *error)
{
    if (options_.household.empty()) return true;
    std::ifstream file(options_.household);
    if (!file) {
        *error = "cannot read " + options_.household + ": " + strerror(errno);
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(file, line); number++) {
        Words words;
        bool known = true;
        if (SplitWords(line, &words, error) && (words.empty() || EditHousehold(words, &known, error))) continue;
        if (!known) *error = "'" + words[0] + "' is nothing about the household";
        *error = options_.household + ":" + std::to_string(number) + ": " + *error;
        return false;
    }
    return true;
}

bool Manager::Start(std::string *error)
{
    if (!LoadHousehold(error) || !autoReport_.Load(error)) return false;
    Report(reports_);
    Connect();
    return true;
}

// ---- The connection

void Manager::Connect()
{
    if (!connection_ || !connection_->Open()) socket_.Seek(0, options_.retryMs);
}

void Manager::Connected(int fd)
{
    connections_++;
    cutter_ = {};
    connection_ = std::make_unique<Connection>(
        loop_, fd,
        Connection::Callbacks{
            [this](const uint8_t *data, size_t size) { Received(data, size); },
            [this](const std::string &by, const std::string &reason) { Closed(by, reason); },
        },
        "manager");
    journal_->Emit("connected", {NumberField("conn", connections_), TextField("socket", options_.socket)});
}

// An agent needs up to a second to clean up a connection that has ended.
void Manager::Closed(const std::string &by, const std::string &reason)
{
    if (by == "agent" && cutter_.Waiting() > 0) BadFrame("the connection ended inside a frame", {});
    journal_->Emit("disconnected",
                   {NumberField("conn", connections_), TextField("by", by), TextField("reason", reason)});
    socket_.Seek(options_.retryMs * 3 / 2, options_.retryMs);
}

void Manager::Disconnect(int64_t awayMs)
{
    socket_.Stop();
    if (connection_) connection_->Close("as told");
    if (awayMs < 0)
        socket_.Stop();
    else
        socket_.Seek(awayMs, options_.retryMs);
}

void Manager::BadFrame(const std::string &reason, const Bytes &bytes)
{
    const Bytes shown(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), kMaxShown)));
    journal_->Emit("bad-frame",
                   {NumberField("conn", connections_), TextField("reason", reason), TextField("bytes", ToHex(shown))});
}

// ---- Received frames

void Manager::Received(const uint8_t *data, size_t size)
{
    cutter_.Add(data, size);
    LocalArrival arrival;
    while (connection_->Open() && cutter_.Next(&arrival)) Arrived(arrival);
}

static Fields FrameFields(unsigned conn, const char *dir, const LocalFrame &frame)
{
    return {NumberField("conn", conn),
            TextField("dir", dir),
            NumberField("id", frame.id),
            TextField("name", LocalName(frame.id)),
            NumberField("sequence", frame.sequence),
            NumberField("length", static_cast<int64_t>(frame.payload.size()))};
}

void Manager::Arrived(const LocalArrival &arrival)
{
    std::vector<std::string> problems = arrival.problems;
    if (arrival.whole) {
        framesIn_++;
        const LocalExchange exchange = AnswerRequest(arrival.frame, {&household_, &autoReport_});
        Fields fields = FrameFields(connections_, "in", arrival.frame);
        if (!exchange.fields.empty()) fields.push_back(ObjectField("fields", exchange.fields));
        problems.insert(problems.end(), exchange.problems.begin(), exchange.problems.end());
        if (!problems.empty()) fields.push_back(ListField("problems", problems));
        if (options_.hex) fields.push_back(TextField("raw", ToHex(arrival.raw)));
        journal_->Emit("request", fields);
        Reply(arrival.frame, exchange);
        if (arrival.frame.id == FUNCID_SET_AUTO_REPORT && exchange.problems.empty()) {
            journal_->Emit("auto-report", autoReport_.Show());
            ArmReports();
        }
    }
    for (const std::string &problem : problems) BadFrame(problem, arrival.raw);
}

void Manager::Reply(const LocalFrame &request, const LocalExchange &exchange)
{
    if (!exchange.answer.wanted) return;
    LocalOutgoing outgoing;
    outgoing.id = request.id;
    outgoing.answer = true;
    outgoing.payload = {exchange.answer.status};
    Append(&outgoing.payload, exchange.answer.data);
    Fields more = {NumberField("status", exchange.answer.status)};
    if (!exchange.answerFields.empty()) more.push_back(ObjectField("fields", exchange.answerFields));
    if (!exchange.answer.note.empty()) more.push_back(TextField("note", exchange.answer.note));
    Dispatch(Deliver(outgoing, "answered", more));
}

// ---- Sent frames

static bool IsText(const Bytes &bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte >= 0x20 && byte != 0x7F; });
}

// Decides how a frame is sent and emits its event.
LocalDelivery Manager::Deliver(const LocalOutgoing &outgoing, const char *event, Fields more)
{
    LocalDelivery out = sender_.Deliver(outgoing, &faults_);
    const bool leaves = !out.delivery.chunks.empty();
    Fields fields = {NumberField("conn", connections_), TextField("dir", "out")};
    if (outgoing.raw)
        fields.push_back(TextField("bytes", ToHex(outgoing.payload)));
    else
        fields = FrameFields(connections_, "out", out.frame);
    fields.insert(fields.end(), more.begin(), more.end());
    if (!out.delivery.faults.empty()) fields.push_back(ListField("misbehaviours", out.delivery.faults));
    if (options_.hex && leaves) {
        Bytes raw;
        for (const Chunk &chunk : out.delivery.chunks) Append(&raw, chunk.bytes);
        fields.push_back(TextField("raw", ToHex(raw)));
    }
    if (leaves) framesOut_++;
    journal_->Emit(leaves ? event : "withheld", fields);
    return out;
}

void Manager::Dispatch(LocalDelivery delivery)
{
    if (delivery.disconnect)
        connection_->Close("misbehaviour");
    else
        connection_->Queue(std::move(delivery.delivery));
}

static Fields SayingFields(const LocalOutgoing &frame)
{
    if (frame.raw) return {};
    const Fields fields = DecodeSaying(frame.id, frame.payload);
    if (!fields.empty()) return {ObjectField("fields", fields)};
    return {IsText(frame.payload) ? TextField("text", std::string(frame.payload.begin(), frame.payload.end()))
                                  : TextField("payload", ToHex(frame.payload))};
}

bool Manager::Send(const Words &words, int64_t count, bool together, std::string *error)
{
    LocalOutgoing frame;
    if (!connection_ || !connection_->Open()) {
        *error = "not connected";
        return false;
    }
    if (!MakeLocalFrame(words, &household_, &frame, error)) return false;
    Bytes all;
    for (int64_t i = 0; i < count; i++) {
        LocalDelivery delivery = Deliver(frame, "sent", SayingFields(frame));
        if (!together || delivery.disconnect) {
            Dispatch(std::move(delivery));
        } else {
            for (const Chunk &chunk : delivery.delivery.chunks) Append(&all, chunk.bytes);
        }
        if (!connection_->Open()) return true;
    }
    if (!all.empty()) connection_->Queue({{{0, all}}, false, {}});
    return true;
}

// ---- The timetable

bool Manager::Schedule(int64_t delayMs, int64_t periodMs, int64_t count, const Words &words, std::string *error)
{
    Household probe = household_;
    LocalOutgoing frame;
    if (!MakeLocalFrame(words, &probe, &frame, error)) return false;
    if (turns_.size() >= kMaxTurns) {
        *error = "the timetable is full";
        return false;
    }
    const uint64_t number = nextTurn_++;
    turns_[number] = {words, periodMs, count, loop_->After(delayMs, [this, number] { TakeTurn(number); })};
    return true;
}

void Manager::TakeTurn(uint64_t number)
{
    Turn &turn = turns_.at(number);
    const Words words = turn.words;
    if (turn.left == 1) {
        turns_.erase(number);
    } else {
        if (turn.left > 1) turn.left--;
        turn.timer = loop_->After(turn.periodMs, [this, number] { TakeTurn(number); });
    }
    std::string error;
    if (!Send(words, 1, false, &error))
        journal_->Emit("stopped", {TextField("command", words[0]), TextField("reason", error)});
}

size_t Manager::ClearTimetable()
{
    const size_t count = turns_.size();
    for (const auto &turn : turns_) loop_->Cancel(turn.second.timer);
    turns_.clear();
    return count;
}

void Manager::Report(bool on)
{
    reports_ = on;
    reportsSince_ = WallTime();
    ArmReports();
}

void Manager::ArmReports()
{
    for (const uint64_t timer : reportTimers_) loop_->Cancel(timer);
    reportTimers_.clear();
    if (!reports_) return;
    const double now = WallTime();
    for (const NextReport &report : NextReports(autoReport_.Plan(), reportsSince_, now)) {
        const int type = report.type;
        const int64_t delay = static_cast<int64_t>((report.due - now) * 1000) + 1;
        reportTimers_.push_back(loop_->After(delay, [this, type] { ReportDue(type); }));
    }
}

void Manager::ReportDue(int type)
{
    std::string error;
    if (!Send({"report", "typed", std::to_string(type)}, 1, false, &error))
        journal_->Emit("stopped", {TextField("command", "report"), TextField("reason", error)});
    ArmReports();
}

// ---- Status

Fields Manager::Status() const
{
    std::vector<std::string> turns;
    for (const auto &entry : turns_) turns.push_back(Joined(entry.second.words, 0));
    return {NumberField("faults", static_cast<int64_t>(journal_->Faults())),
            FlagField("connected", connection_ && connection_->Open()),
            NumberField("connections", connections_),
            NumberField("frames_in", static_cast<int64_t>(framesIn_)),
            NumberField("frames_out", static_cast<int64_t>(framesOut_)),
            FlagField("reports", reports_),
            ObjectField("auto_report", autoReport_.Show()),
            ListField("timetable", turns),
            ListField("misbehaviours", faults_.Shown()),
            ObjectField("events", journal_->Counts())};
}

bool Manager::Busy() const
{
    const bool counted = std::any_of(turns_.begin(), turns_.end(), [](const auto &t) { return t.second.left > 0; });
    return counted || (connection_ && !connection_->Idle());
}

} // namespace sim
