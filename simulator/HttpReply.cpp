#include "simulator/HttpReply.h"

#include <algorithm>

namespace sim
{

namespace
{
// The parts that a header is put together from.
struct Parts {
    int64_t announced = 0; // bytes, unless there is a text instead
    std::string text;      // instead of the number, when there is one
    bool hasText = false;
    size_t lengthLine = 0; // characters that the Content-Length line has at least
    bool withLength = true;
    bool keepAlive = true;
    std::string before, after; // whole lines around Content-Length
    bool emptyLine = true;
    bool bareLf = false;
    size_t cut = std::string::npos;
};
} // namespace

static std::string Reason(int status)
{
    switch (status) {
    case 200: return "OK";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 408: return "Request Timeout";
    case 431: return "Request Header Fields Too Large";
    case 505: return "HTTP Version Not Supported";
    default: return "Bad Request";
    }
}

// A header line of `size` bytes, its CR LF included.
static std::string Filler(int64_t size)
{
    const std::string name = "X-Filler: ", end = "\r\n";
    return name + std::string(static_cast<size_t>(size) - name.size() - end.size(), 'x') + end;
}

static std::string LengthLine(const Parts &parts)
{
    const std::string name = "Content-Length: ";
    const std::string number = parts.hasText ? parts.text : std::to_string(parts.announced);
    const size_t size = name.size() + number.size();
    return name + std::string(parts.lengthLine > size ? parts.lengthLine - size : 0, '0') + number + "\r\n";
}

static std::string HeaderText(int status, const Parts &parts)
{
    std::string text = "HTTP/1.1 " + std::to_string(status) + ' ' + Reason(status) + "\r\n";
    if (status == 405) text += "Allow: GET\r\n";
    text += "Content-Type: application/octet-stream\r\n";
    text += parts.keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    text += parts.before + (parts.withLength ? LengthLine(parts) : "") + parts.after;
    if (parts.emptyLine) text += "\r\n";
    if (parts.bareLf) text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    if (parts.cut < text.size()) text.resize(parts.cut);
    return text;
}

// Ends the reply after `bytes` of the body, unless it ends earlier anyway.
static void EndAfter(HttpReply *reply, int64_t bytes, HttpReply::End end)
{
    if (bytes > reply->send || (reply->early && bytes == reply->send)) return;
    reply->send = bytes;
    reply->end = end;
    reply->early = true;
}

// What there is to be sent, in which time.
static void ApplyToBody(const ActiveHttpWrong &wrong, HttpReply *reply)
{
    switch (wrong.row->wrong) {
    case HttpWrong::Size:
    case HttpWrong::NotFound:
        reply->status = wrong.row->wrong == HttpWrong::Size ? 200 : 404;
        reply->body = HttpBody();
        reply->body.size = wrong.number;
        break;
    case HttpWrong::Late: reply->lateMs = wrong.number; break;
    case HttpWrong::DripHeader: reply->dripMs = wrong.number; break;
    case HttpWrong::Slow: reply->rate = wrong.number; break;
    default: break;
    }
}

static void ApplyToHeader(const ActiveHttpWrong &wrong, Parts *parts)
{
    switch (wrong.row->wrong) {
    case HttpWrong::CutHeader: parts->cut = static_cast<size_t>(wrong.number); break;
    case HttpWrong::NoHeaderEnd: parts->emptyLine = false; break;
    case HttpWrong::BareLf: parts->bareLf = true; break;
    case HttpWrong::LongHeader: parts->after = Filler(wrong.number); break;
    case HttpWrong::LateLength: parts->before += Filler(wrong.number); break;
    case HttpWrong::HeaderLine: parts->before += wrong.value + "\r\n"; break;
    case HttpWrong::Length:
        parts->text = wrong.value;
        parts->hasText = true;
        break;
    case HttpWrong::LengthLine: parts->lengthLine = static_cast<size_t>(wrong.number); break;
    case HttpWrong::NoLength:
        parts->withLength = false;
        parts->keepAlive = false; // nothing else would end the body
        break;
    case HttpWrong::AnnounceMore: parts->announced += wrong.number; break;
    default: break;
    }
}

static void ApplyToEnd(const ActiveHttpWrong &wrong, HttpReply *reply)
{
    switch (wrong.row->wrong) {
    case HttpWrong::AnnounceMore: EndAfter(reply, reply->send, HttpReply::End::Close); break;
    case HttpWrong::Stall: EndAfter(reply, wrong.number, HttpReply::End::Stall); break;
    case HttpWrong::Close: EndAfter(reply, wrong.number, HttpReply::End::Close); break;
    case HttpWrong::Reset: EndAfter(reply, wrong.number, HttpReply::End::Reset); break;
    default: break;
    }
}

HttpReply MakeHttpReply(const HttpRequest &request, HttpBody body, const std::vector<ActiveHttpWrong> &wrongs)
{
    HttpReply reply;
    Parts parts;
    parts.keepAlive = request.keepAlive;
    if (request.refusal || request.method != "GET") {
        reply.status = request.refusal ? request.refusal : 405;
        parts.keepAlive = false; // whatever else was sent with it is not looked at
        reply.end = HttpReply::End::Close;
        reply.header = HeaderText(reply.status, parts);
        return reply;
    }
    reply.status = body.found ? 200 : 404;
    reply.body = std::move(body);
    for (const ActiveHttpWrong &wrong : wrongs) {
        reply.wrongs.push_back(HttpWrongText(wrong));
        ApplyToBody(wrong, &reply);
    }
    reply.send = parts.announced = reply.body.size;
    for (const ActiveHttpWrong &wrong : wrongs) {
        ApplyToHeader(wrong, &parts);
        if (wrong.row->wrong == HttpWrong::SendMore) reply.send += wrong.number;
    }
    reply.end = parts.keepAlive ? HttpReply::End::Keep : HttpReply::End::Close;
    for (const ActiveHttpWrong &wrong : wrongs) ApplyToEnd(wrong, &reply);
    reply.header = HeaderText(reply.status, parts);
    if (parts.cut != std::string::npos) {
        reply.send = 0;
        if (!reply.early) reply.end = HttpReply::End::Close;
        reply.early = true;
    }
    return reply;
}

} // namespace sim
