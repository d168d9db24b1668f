#include "simulator/platform/Platform.h"

#include <algorithm>
#include <poll.h>
#include <unistd.h>

#include "protocol/Decoder.h"
#include "simulator/net/Net.h"
#include "simulator/platform/Delivery.h"
#include "simulator/platform/FrameCommands.h"
#include "simulator/platform/PlatformFaults.h"

namespace sim
{

static const size_t kShownBytes = 256; // of a bad frame

Platform::Platform(const PlatformOptions &options, Loop *loop, Journal *journal)
    : options_(options), loop_(loop), journal_(journal), faults_(kPlatformFaults, options.faults), random_(options.seed)
{
}

Platform::~Platform()
{
    sessions_.clear();
    for (const auto &server : servers_) {
        loop_->Unwatch(server->fd);
        close(server->fd);
    }
}

bool Platform::Start(std::string *error)
{
    std::vector<Address> registration = options_.registrationServers;
    if (registration.empty()) {
        registration.emplace_back();
        registration[0].port = 6039;
    }
    const auto open = [&](Step step, Address address) {
        const int fd = ListenOn(&address, error);
        if (fd < 0) return false;
        servers_.push_back(std::make_unique<Server>(Server{step, address, fd}));
        const Server *server = servers_.back().get();
        loop_->Watch(fd, POLLIN, [this, server](short) { Accept(*server); });
        return true;
    };
    for (const Address &address : registration)
        if (!open(STEP_REGISTER, address)) return false;
    if (!open(STEP_LOGIN, options_.login)) return false;
    if (options_.httpOn && !StartHttp(error)) return false;

    Fields fields;
    Field list = ListField("register", {});
    for (const auto &server : servers_)
        if (server->step == STEP_REGISTER) list.children.push_back(TextField("", AddressText(server->address)));
    fields.push_back(TextField("login", AddressText(servers_.back()->address)));
    fields.push_back(TextField("announce", AddressText(options_.announce.value_or(servers_.back()->address))));
    fields.push_back(list);
    if (http_) fields.push_back(TextField("http", AddressText(http_->At())));
    journal_->Emit("listening", fields);
    return true;
}

// If it listens on all addresses, the one that the router has reached is used.
static Address Reached(Address address, const Address &local)
{
    if (std::all_of(std::begin(address.octets), std::end(address.octets), [](uint8_t octet) { return octet == 0; }))
        std::copy(std::begin(local.octets), std::end(local.octets), address.octets);
    return address;
}

bool Platform::StartHttp(std::string *error)
{
    auto http = std::make_unique<HttpServer>(options_.http, loop_, journal_, [this] { return nextId_++; });
    if (!http->Start(error)) return false;
    http_ = std::move(http);
    return true;
}

Address Platform::AnnouncedLogin(const Session &session) const
{
    if (options_.announce) return *options_.announce;
    return Reached(servers_.back()->address, session.local);
}

void Platform::Accept(const Server &server)
{
    Address agent;
    const int fd = AcceptFrom(server.fd, &agent);
    if (fd < 0) return;
    auto session = std::make_unique<Session>();
    Session *raw = session.get();
    raw->id = nextId_++;
    raw->server = &server;
    raw->agent = agent;
    raw->local = LocalAddress(fd);
    raw->connection = std::make_unique<Connection>(
        loop_, fd,
        Connection::Callbacks{
            [this, raw](const uint8_t *data, size_t size) { Received(raw, data, size); },
            [this, raw](const std::string &by, const std::string &reason) { Closed(raw, by, reason); }});
    sessions_[raw->id] = std::move(session);
    journal_->Emit("connected", {NumberField("conn", raw->id), TextField("server", StepName(server.step)),
                                 TextField("agent", AddressText(agent)), TextField("at", AddressText(raw->local))});
    ActiveFault refuse;
    if (faults_.Take("refuse", PlaceOf(server.step), &refuse)) raw->connection->Close("refused");
}

void Platform::Closed(Session *session, const std::string &by, const std::string &reason)
{
    const unsigned id = session->id;
    if (by == "agent" && session->cutter.Left() > 0) BadFrame(*session, "the connection ended inside a frame", {});
    journal_->Emit("disconnected",
                   {NumberField("conn", id), TextField("server", StepName(session->server->step)), TextField("by", by),
                    TextField("reason", reason), FlagField("logged_in", session->peer.loggedIn)});
    if (chosen_ == id) chosen_ = 0;
    // The connection is still on the call stack.
    loop_->After(0, [this, id] { sessions_.erase(id); });
}

void Platform::BadFrame(const Session &session, const std::string &reason, const Bytes &bytes)
{
    Bytes shown = bytes;
    if (shown.size() > kShownBytes) shown.resize(kShownBytes);
    journal_->Emit("bad-frame", {NumberField("conn", session.id), TextField("dir", "in"), TextField("reason", reason),
                                 TextField("bytes", ToHex(shown))});
}

void Platform::Received(Session *session, const uint8_t *data, size_t size)
{
    session->cutter.Push(data, size);
    Bytes frame;
    std::string problem;
    bool more = true;
    while (more && session->connection->Open()) {
        const bool found = session->cutter.Pop(&frame, &problem);
        if (!problem.empty()) BadFrame(*session, problem, {});
        if (found) FrameArrived(session, frame);
        more = found || !problem.empty();
    }
}

void Platform::FrameArrived(Session *session, const Bytes &raw)
{
    session->peer.framesIn++;
    ParsedFrame frame = ParseFrame(raw, options_.session.key, true);
    Fields fields = {NumberField("conn", session->id), TextField("dir", "in"),
                     TextField("server", StepName(session->server->step))};
    const Fields described = DescribeArrival(&frame, &session->peer, Loop::NowMs());
    fields.insert(fields.end(), described.begin(), described.end());
    if (options_.hex) fields.push_back(TextField("raw", ToHex(raw)));

    const std::vector<OutFrame> answers =
        Answer(frame, options_.session, AnnouncedLogin(*session), &session->peer, &registrations_);
    const std::string event = ArrivalEvent(frame.header.msgType);
    if (event == "login") {
        fields.push_back(FlagField("token_ok", session->peer.tokenOk));
        if (!session->peer.mac.empty()) {
            fields.push_back(TextField("mac", MacText(session->peer.mac)));
            fields.push_back(TextField("serial", session->peer.serial));
        }
    }
    journal_->Emit(event, fields);
    if (!frame.checksumOk)
        journal_->Emit("bad-checksum",
                       {NumberField("conn", session->id), TextField("dir", "in"),
                        NumberField("msgtype", frame.header.msgType), NumberField("checksum", frame.header.checksum),
                        NumberField("checksum_expected", frame.checksumExpected), TextField("bytes", ToHex(raw))});
    for (const std::string &problem : frame.problems) BadFrame(*session, problem, raw);
    SendFrames(session, answers, false);
}

void Platform::EmitSent(const Session &session, const OutFrame &frame, const Delivery &delivery)
{
    Fields fields = {NumberField("conn", session.id), TextField("dir", "out"),
                     TextField("server", StepName(session.server->step)), TextField("step", StepName(frame.step))};
    // The event shows the frame as it was meant to be; "misbehaviours" lists the faults that happened to it.
    const Bytes bytes = EncodeFrame(frame, options_.session.key);
    if (frame.raw.empty()) {
        ParsedFrame parsed = ParseFrame(bytes, options_.session.key, false);
        const Fields described = DescribeFrame(&parsed, frame.step);
        fields.insert(fields.end(), described.begin(), described.end());
    } else {
        fields.push_back(TextField("type", "raw"));
        fields.push_back(NumberField("length", static_cast<int64_t>(bytes.size())));
        fields.push_back(TextField("bytes", ToHex(bytes)));
    }
    if (options_.hex && !delivery.chunks.empty())
        fields.push_back(TextField("raw", ToHex(delivery.chunks.size() == 1 ? delivery.chunks[0].bytes : bytes)));
    if (!delivery.faults.empty()) fields.push_back(ListField("misbehaviours", delivery.faults));
    journal_->Emit(delivery.chunks.empty() ? "withheld" : "sent", fields);
}

void Platform::SendFrames(Session *session, const std::vector<OutFrame> &frames, bool together)
{
    Delivery joined;
    for (const OutFrame &frame : frames) {
        if (!session->connection->Open()) return;
        Delivery delivery = Deliver(frame, options_.session.key, &faults_, &random_);
        EmitSent(*session, frame, delivery);
        session->peer.framesOut += delivery.chunks.empty() ? 0 : 1;
        if (!together) {
            session->connection->Queue(std::move(delivery));
            continue;
        }
        if (joined.chunks.empty()) joined.chunks.push_back({0, {}});
        for (const Chunk &chunk : delivery.chunks) Append(&joined.chunks[0].bytes, chunk.bytes);
        joined.closeAfter = joined.closeAfter || delivery.closeAfter;
        joined.deafMs = std::max(joined.deafMs, delivery.deafMs);
    }
    if (together && session->connection->Open()) session->connection->Queue(std::move(joined));
}

Platform::Session *Platform::FindTarget(bool loggedInOnly, std::string *error)
{
    Session *latest = nullptr, *loggedIn = nullptr;
    for (const auto &entry : sessions_) {
        Session *session = entry.second.get();
        if (!session->connection->Open()) continue;
        if (entry.first == chosen_) return session;
        latest = session;
        if (session->peer.loggedIn) loggedIn = session;
    }
    if (loggedIn) return loggedIn;
    if (!loggedInOnly && latest) return latest;
    *error = loggedInOnly ? "no agent is logged in" : "no agent is connected";
    return nullptr;
}

bool Platform::Target(TargetFacts *facts, std::string *error)
{
    const Session *session = FindTarget(true, error);
    if (!session) return false;
    *facts = {session->id, session->local, session->peer.version, session->peer.token, options_.session.pluginId};
    return true;
}

bool Platform::FilesFor(const TargetFacts &target, Address *address, std::string *error)
{
    if (!http_) {
        options_.http.address = target.local;
        options_.http.address.port = 0;
        if (!StartHttp(error)) return false;
    }
    *address = Reached(http_->At(), target.local);
    const uint8_t loopback = 127;
    if (address->octets[0] == loopback && target.local.octets[0] != loopback) {
        *error = "the HTTP server listens on " + AddressText(http_->At()) +
                 ", where the agent cannot reach it: start it with --http 0.0.0.0:PORT";
        return false;
    }
    return true;
}

static bool NeedsLogin(const std::string &command)
{
    return command != "raw" && command != "frame" && command != "disconnect" && command != "network-failure";
}

bool Platform::Send(const Words &words, int64_t count, bool together, std::string *error)
{
    Session *session = FindTarget(words.empty() || NeedsLogin(words[0]), error);
    if (!session) return false;
    FrameContext context = {&session->peer, options_.session.key, Loop::NowMs()};
    std::vector<OutFrame> frames;
    for (int64_t i = 0; i < count; i++) {
        OutFrame frame;
        if (!MakeFrame(words, &context, &frame, error)) return false;
        frames.push_back(std::move(frame));
    }
    SendFrames(session, frames, together);
    return true;
}

bool Platform::SendEvery(int64_t periodMs, int64_t count, const Words &words, std::string *error)
{
    if (!Send(words, 1, false, error)) return false;
    if (count <= 1) return true;
    periodic_++;
    loop_->After(periodMs, [this, periodMs, count, words] {
        periodic_--;
        std::string reason;
        if (!SendEvery(periodMs, count - 1, words, &reason))
            journal_->Emit("stopped", {TextField("command", words[0]), NumberField("left", count - 1),
                                       TextField("reason", reason)});
    });
    return true;
}

bool Platform::Disconnect(Cut cut, std::string *error)
{
    Session *session = FindTarget(false, error);
    if (!session) return false;
    switch (cut) {
    case Cut::Drop: session->connection->Close("dropped"); break;
    case Cut::Reset: session->connection->Reset(); break;
    case Cut::HalfClose: session->connection->HalfClose(); break;
    }
    return true;
}

bool Platform::Choose(unsigned id, std::string *error)
{
    if (id != 0 && (!sessions_.count(id) || !sessions_[id]->connection->Open())) {
        *error = "there is no connection " + std::to_string(id);
        return false;
    }
    chosen_ = id;
    return true;
}

bool Platform::Busy() const
{
    return periodic_ > 0 || std::any_of(sessions_.begin(), sessions_.end(), [](const auto &entry) {
               return entry.second->connection->Open() && !entry.second->connection->Idle();
           });
}

Fields Platform::SessionFields(const Session &session) const
{
    const Peer &peer = session.peer;
    return {TextField("server", StepName(session.server->step)),
            TextField("agent", AddressText(session.agent)),
            FlagField("logged_in", peer.loggedIn),
            TextField("serial", peer.serial),
            TextField("mac", MacText(peer.mac)),
            NumberField("frames_in", static_cast<int64_t>(peer.framesIn)),
            NumberField("frames_out", static_cast<int64_t>(peer.framesOut)),
            NumberField("unanswered", static_cast<int64_t>(peer.waiting.size()))};
}

Fields Platform::Status() const
{
    Field connections = ObjectField("connections", {});
    for (const auto &entry : sessions_)
        if (entry.second->connection->Open())
            connections.children.push_back(ObjectField(std::to_string(entry.first), SessionFields(*entry.second)));
    Fields fields = {NumberField("faults", static_cast<int64_t>(journal_->Faults())), connections,
                     ListField("misbehaviours", faults_.Shown()), ObjectField("events", journal_->Counts())};
    if (http_) fields.push_back(ObjectField("http", http_->Status()));
    return fields;
}

} // namespace sim
