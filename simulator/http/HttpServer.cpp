#include "simulator/http/HttpServer.h"

#include <poll.h>
#include <unistd.h>

#include "simulator/http/HttpFaults.h"
#include "simulator/net/Net.h"

namespace sim
{

static const size_t kMaxConnections = 200; // more wait until one of these has ended
static const int64_t kProgressMs = 1000;

HttpServer::HttpServer(const HttpSettings &settings, Loop *loop, Journal *journal, std::function<unsigned()> nextId)
    : settings_(settings), loop_(loop), journal_(journal), nextId_(std::move(nextId)),
      faults_(kHttpFaults, settings.faults)
{
}

HttpServer::~HttpServer()
{
    if (sweep_) loop_->Cancel(sweep_);
    if (progress_) loop_->Cancel(progress_);
    if (listener_ < 0) return;
    loop_->Unwatch(listener_);
    close(listener_);
}

bool HttpServer::Start(std::string *error)
{
    if (!content_.Open(settings_.root, settings_.size, error)) return false;
    listener_ = ListenOn(&settings_.address, error);
    if (listener_ < 0) return false;
    WatchListener();
    return true;
}

void HttpServer::WatchListener()
{
    if (sessions_.size() < kMaxConnections)
        loop_->Watch(listener_, POLLIN, [this](short) { Accept(); });
    else
        loop_->Unwatch(listener_);
}

void HttpServer::Accept()
{
    Address agent;
    const int fd = AcceptFrom(listener_, &agent);
    if (fd < 0) return;
    auto session = std::make_unique<Session>(Session{nextId_(), agent, "", 0, 0, 0, nullptr});
    Session *raw = session.get();
    raw->connection = std::make_unique<HttpConnection>(
        loop_, fd, settings_.idleMs,
        HttpConnection::Callbacks{
            [this, raw](const HttpRequest &request) { return Answer(raw, request); },
            [this, raw](int64_t sent) { Stalled(*raw, sent); },
            [this, raw](int64_t sent, int64_t ms, const std::string &end) { Done(*raw, sent, ms, end); },
            [this] { // it is still on the call stack
                if (!sweep_) sweep_ = loop_->After(0, [this] { Sweep(); });
            }});
    sessions_[raw->id] = std::move(session);
    WatchListener();
}

void HttpServer::Sweep()
{
    sweep_ = 0;
    for (auto it = sessions_.begin(); it != sessions_.end();)
        it = it->second->connection->Open() ? ++it : sessions_.erase(it);
    WatchListener();
}

HttpReply HttpServer::Answer(Session *session, const HttpRequest &request)
{
    const bool good = !request.refusal && request.method == "GET";
    HttpReply reply = MakeHttpReply(request, good ? content_.Find(request.path) : HttpBody(),
                                    good ? faults_.TakeAll({request.path}) : std::vector<ActiveFault>());
    session->path = request.path;
    session->status = reply.status;
    session->size = reply.send;
    session->told = 0;
    if (content_.Offers(request.path) && !progress_) progress_ = loop_->After(kProgressMs, [this] { Progress(); });
    Fields fields = {NumberField("conn", session->id),
                     TextField("dir", "in"),
                     TextField("agent", AddressText(session->agent)),
                     TextField("method", request.method),
                     TextField("path", request.path),
                     TextField("host", request.host),
                     NumberField("status", reply.status),
                     NumberField("size", reply.send)};
    if (!request.problem.empty()) fields.push_back(TextField("problem", request.problem));
    if (!reply.faults.empty()) fields.push_back(ListField("misbehaviours", reply.faults));
    fields.push_back(TextField("request", request.text));
    journal_->Emit("http", fields);
    return reply;
}

void HttpServer::Progress()
{
    progress_ = 0;
    bool more = false;
    for (const auto &entry : sessions_) {
        Session &session = *entry.second;
        if (!session.connection->Open() || !session.connection->Replying() || !content_.Offers(session.path)) continue;
        more = true;
        const int64_t sent = session.connection->Sent();
        if (sent == session.told) continue;
        session.told = sent;
        journal_->Emit("http-progress",
                       {NumberField("conn", session.id), TextField("dir", "out"), TextField("path", session.path),
                        NumberField("bytes", sent), NumberField("size", session.size),
                        NumberField("percent", session.size > 0 ? 100 * sent / session.size : 0, "%")});
    }
    if (more) progress_ = loop_->After(kProgressMs, [this] { Progress(); });
}

void HttpServer::Stalled(const Session &session, int64_t sent)
{
    journal_->Emit("http-stalled", {NumberField("conn", session.id), TextField("dir", "out"),
                                    TextField("path", session.path), NumberField("bytes", sent)});
}

void HttpServer::Done(const Session &session, int64_t sent, int64_t ms, const std::string &end)
{
    journal_->Emit("http-done",
                   {NumberField("conn", session.id), TextField("dir", "out"), TextField("path", session.path),
                    NumberField("status", session.status), NumberField("bytes", sent),
                    RealField("seconds", static_cast<double>(ms) / 1000, 3), TextField("end", end)});
}

Fields HttpServer::Status() const
{
    Field connections = ObjectField("connections", {});
    for (const auto &entry : sessions_) {
        const Session &session = *entry.second;
        if (!session.connection->Open()) continue;
        connections.children.push_back(ObjectField(
            std::to_string(entry.first),
            {TextField("agent", AddressText(session.agent)), FlagField("replying", session.connection->Replying()),
             TextField("path", session.path), NumberField("bytes", session.connection->Sent())}));
    }
    return {TextField("address", AddressText(settings_.address)), NumberField("size", settings_.size),
            TextField("root", settings_.root), connections, ListField("misbehaviours", faults_.Shown())};
}

} // namespace sim
