#include "simulator/platform/UpdateCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <openssl/evp.h>
#include <unistd.h>

#include "protocol/Names.h"

namespace sim
{

static const size_t kMaxName = 100; // of a file's name in the path
static const char kFolder[] = "/update/";

// ---- Words

bool ReadUpdate(const Words &words, UpdateWords *update, std::string *error)
{
    *update = UpdateWords();
    update->file = words[1];
    const struct {
        const char *name;
        std::string *value;
        bool *given;
    } options[] = {
        {"id", &update->id, &update->idGiven}, {"from", &update->from, nullptr},
        {"to", &update->to, nullptr},          {"url", &update->url, nullptr},
        {"md5", &update->md5, nullptr},        {"token", &update->token, &update->tokenGiven},
        {"length", &update->length, nullptr},  {"within", &update->seconds, nullptr},
    };
    for (size_t i = 2; i < words.size(); i++) {
        const size_t equals = words[i].find('=');
        const std::string name = words[i].substr(0, equals);
        const auto option = std::find_if(std::begin(options), std::end(options),
                                         [&](const auto &o) { return equals != std::string::npos && name == o.name; });
        if (words[i] == "expect-failure") {
            update->expectFailure = true;
        } else if (option == std::end(options)) {
            *error = "'" + words[i] +
                     "' is none of from=, to=, id=, md5=, length=, token=, url=, within=, "
                     "expect-failure";
            return false;
        } else {
            *option->value = words[i].substr(equals + 1);
            if (option->given) *option->given = true;
        }
    }
    int64_t number;
    if (!update->length.empty() && !ParseNumber(update->length, INT32_MIN, INT32_MAX, &number)) {
        *error = "length: '" + update->length + "' is not a 32-bit number";
        return false;
    }
    if (!update->seconds.empty() && !ParseSeconds(update->seconds, &number)) {
        *error = "within: '" + update->seconds + "' is not a time";
        return false;
    }
    return true;
}

std::string NextVersion(const std::string &version)
{
    const size_t dot = version.rfind('.');
    int64_t last;
    if (dot == std::string::npos || !ParseNumber(version.substr(dot + 1), 0, 254, &last)) return version + "-next";
    return version.substr(0, dot + 1) + std::to_string(last + 1);
}

std::string UpdatePath(const std::string &file)
{
    const std::string name = file.substr(file.rfind('/') + 1);
    const bool plain = std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return (c < 0x80 && isalnum(c)) || c == '.' || c == '_' || c == '-';
    });
    return kFolder + (plain && !name.empty() && name.size() <= kMaxName && name[0] != '.' ? name : "plugin");
}

bool Digest(int file, int64_t *length, std::string *md5, std::string *error)
{
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!context || !EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr)) {
        *error = "cannot compute the MD5";
        return false;
    }
    Bytes block(1 << 16);
    ssize_t count;
    *length = 0;
    while ((count = pread(file, block.data(), block.size(), *length)) != 0) {
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            *error = strerror(errno);
            return false;
        }
        EVP_DigestUpdate(context.get(), block.data(), static_cast<size_t>(count));
        *length += count;
    }
    Bytes digest(EVP_MAX_MD_SIZE);
    unsigned size = 0;
    EVP_DigestFinal_ex(context.get(), digest.data(), &size);
    digest.resize(size);
    *md5 = ToHex(digest);
    return true;
}

// ---- One update

namespace
{
class UpdateRun : public std::enable_shared_from_this<UpdateRun>
{
  public:
    explicit UpdateRun(CommandContext *context) : context_(context) {}
    Outcome Begin(const Words &words);

  private:
    bool Prepare(std::string *error);
    bool Offer(std::string *url, std::string *error);
    bool SendCommand(PluginType type, std::string *error);
    Outcome Next(const Event &event);
    Outcome Acknowledged(const Event &ack);
    Outcome Reported(const Event &report);
    Outcome Failed(const std::string &reason);
    Outcome GoOn(bool progress);
    void Tell(const std::string &state, Fields more);

    CommandContext *context_;
    UpdateWords words_;
    Platform::TargetFacts target_ = {};
    Fields document_;
    std::string path_; // under which the file is served
    int64_t length_ = 0;
    int64_t bytes_ = 0; // of it served so far
    int64_t patienceMs_ = 0;
    int64_t untilMs_ = 0;
    bool ordered_ = false; // the second command has been sent
};
} // namespace

static std::string ValueOf(const Event &event, const std::string &path)
{
    const Field *field = FindField(event.fields, path);
    return field ? field->value : "";
}

static Field Figure(const std::string &name, const std::string &digits)
{
    return {name, Field::Kind::Number, digits, "", {}};
}

void UpdateRun::Tell(const std::string &state, Fields more)
{
    Fields fields = {NumberField("conn", target_.id), TextField("state", state)};
    fields.insert(fields.end(), more.begin(), more.end());
    context_->journal->Emit("update", fields);
}

Outcome UpdateRun::Failed(const std::string &reason)
{
    Tell("failed", {TextField("reason", reason), NumberField("bytes", bytes_)});
    return Outcome::Fail(reason);
}

bool UpdateRun::Offer(std::string *url, std::string *error)
{
    const int file = open(words_.file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    const bool opened = file >= 0;
    bool good = opened;
    std::string md5;
    if (!opened) *error = strerror(errno);
    good = good && Digest(file, &length_, &md5, error);
    if (good && length_ > INT32_MAX) {
        *error = "an update has at most 2147483647 bytes";
        good = false;
    }
    if (!good) *error = words_.file + ": " + *error;
    Address address;
    path_ = UpdatePath(words_.file);
    good = good && context_->platform->FilesFor(target_, &address, error) &&
           context_->platform->Http()->Offer(path_, file, error);
    if (opened) close(file);
    if (!good) return false;
    if (words_.md5.empty()) words_.md5 = md5;
    if (words_.length.empty()) words_.length = std::to_string(length_);
    *url = "http://" + AddressText(address) + path_;
    return true;
}

bool UpdateRun::Prepare(std::string *error)
{
    std::string url;
    if (!context_->platform->Target(&target_, error) || !Offer(&url, error)) return false;
    if (words_.url.empty()) words_.url = url;
    if (words_.from.empty()) words_.from = target_.version;
    if (words_.to.empty()) words_.to = NextVersion(words_.from);
    if (!words_.idGiven) words_.id = target_.pluginId;
    if (!words_.tokenGiven) words_.token = target_.token;
    int64_t length = 0;
    ParseNumber(words_.length, INT32_MIN, INT32_MAX, &length);
    document_ = {TextField("pluginID", words_.id),  TextField("fromVersion", words_.from),
                 TextField("toVersion", words_.to), TextField("url", words_.url),
                 NumberField("fileLength", length), TextField("fileMD5", words_.md5),
                 TextField("token", words_.token)};
    return true;
}

bool UpdateRun::SendCommand(PluginType type, std::string *error)
{
    Platform::TargetFacts now;
    if (!context_->platform->Target(&now, error)) return false;
    if (now.id != target_.id) {
        *error = "the agent has another connection by now";
        return false;
    }
    const size_t members = type == PLUGIN_UPDATE_COMMAND ? 3 : document_.size();
    const Fields document(document_.begin(), document_.begin() + static_cast<std::ptrdiff_t>(members));
    return context_->platform->Send({"plugin", std::to_string(type), ToJson(document)}, 1, false, error);
}

Outcome UpdateRun::Begin(const Words &words)
{
    std::string error;
    if (!ReadUpdate(words, &words_, &error) || !Prepare(&error)) return Outcome::Fail(error);
    patienceMs_ = context_->waitTimeoutMs;
    if (!words_.seconds.empty()) ParseSeconds(words_.seconds, &patienceMs_);
    Tell("offered", {TextField("file", words_.file), TextField("url", words_.url), TextField("md5", words_.md5),
                     NumberField("length", length_), TextField("from", words_.from), TextField("to", words_.to)});
    if (!SendCommand(PLUGIN_UPDATE_COMMAND, &error)) return Failed(error);
    return GoOn(true);
}

Outcome UpdateRun::GoOn(bool progress)
{
    const int64_t now = Loop::NowMs();
    if (progress) untilMs_ = now + patienceMs_;
    Outcome outcome;
    outcome.kind = Outcome::Wait;
    outcome.wait = {"any", {}, std::max<int64_t>(0, untilMs_ - now)};
    outcome.reason =
        ordered_ ? "the agent has sent no report of the update" : "the agent has not acknowledged the update command";
    const auto self = shared_from_this();
    outcome.then = [self](const Event &event) { return self->Next(event); };
    return outcome;
}

Outcome UpdateRun::Next(const Event &event)
{
    if (event.name.compare(0, 4, "http") == 0) {
        if (ValueOf(event, "path") != path_) return GoOn(false);
        if (event.name == "http") Tell("asked", {TextField("path", path_), Figure("status", ValueOf(event, "status"))});
        ParseNumber(ValueOf(event, "bytes"), 0, INT64_MAX, &bytes_);
        return GoOn(true);
    }
    if (ValueOf(event, "conn") != std::to_string(target_.id)) return GoOn(false);
    if (event.name == "disconnected") return Failed("the connection ended before the report of the update");
    if (event.name == "ack") return Acknowledged(event);
    const bool report = event.name == "upload" && ValueOf(event, "datatype") == std::to_string(PLUGIN_UPDATE_REPORT);
    return report ? Reported(event) : GoOn(false);
}

Outcome UpdateRun::Acknowledged(const Event &ack)
{
    const std::string type = ValueOf(ack, "datatype"), result = ValueOf(ack, "head.ack");
    if (!ordered_ && (type.empty() || type == std::to_string(PLUGIN_UPDATE_COMMAND))) {
        std::string error;
        if (result != "0") return Failed("the agent has refused the update command: " + result);
        if (!SendCommand(PLUGIN_UPDATE, &error)) return Failed(error);
        ordered_ = true;
        return GoOn(true);
    }
    // A report would have arrived before.
    if (ordered_ && (type.empty() || type == std::to_string(PLUGIN_UPDATE)))
        return Failed("the agent has acknowledged the update (" + result + ") and not reported on it");
    return GoOn(false);
}

Outcome UpdateRun::Reported(const Event &report)
{
    if (FindField(report.fields, "problems")) return Failed("the report of the update is faulty");
    for (const char *member : {"pluginID", "fromVersion", "toVersion"}) {
        const std::string said = ValueOf(report, std::string("json.") + member),
                          asked = FindField(document_, member)->value;
        // An agent may not adopt values that were wrong in the command.
        if (said != asked && !words_.expectFailure)
            return Failed(std::string("the report names another ") + member + ": '" + said + "'");
    }
    const bool done = ValueOf(report, "json.result") == "0";
    const Fields outcome = {Figure("result", ValueOf(report, "json.result")),
                            Figure("process", ValueOf(report, "json.process")),
                            TextField("from", ValueOf(report, "json.fromVersion")),
                            TextField("to", ValueOf(report, "json.toVersion")), NumberField("bytes", bytes_)};
    Tell(done ? "done" : "failed", outcome);
    if (done == !words_.expectFailure) return Outcome::Ok();
    return Outcome::Fail(done ? "the update was to fail, and the agent reports that it is done"
                              : "the agent reports that the update has failed");
}

Outcome RunUpdate(const Words &words, CommandContext *context)
{
    return std::make_shared<UpdateRun>(context)->Begin(words);
}

std::vector<std::string> UpdateCompletions(const Words &words)
{
    if (words.size() == 1) return {kAnyFile};
    return {"from=", "to=", "id=", "md5=", "length=", "token=", "url=", "within=", "expect-failure"};
}

} // namespace sim
