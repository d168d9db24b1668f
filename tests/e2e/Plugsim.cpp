#include "tests/e2e/Plugsim.h"

#include <cjson/cJSON.h>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

Event::Event(const std::string &line) : line_(line), root_(cJSON_Parse(line.c_str()), cJSON_Delete) {}

const cJSON *Event::Find(const std::string &path) const
{
    const cJSON *at = root_.get();
    for (size_t begin = 0; at && begin <= path.size();) {
        const size_t dot = path.find('.', begin);
        const std::string part = path.substr(begin, dot - begin);
        at = cJSON_IsArray(at) ? cJSON_GetArrayItem(at, atoi(part.c_str()))
                               : cJSON_GetObjectItemCaseSensitive(at, part.c_str());
        begin = dot == std::string::npos ? path.size() + 1 : dot + 1;
    }
    return at;
}

static std::string TextOf(const cJSON *item)
{
    if (cJSON_IsString(item)) return item->valuestring;
    char *printed = cJSON_PrintUnformatted(item);
    const std::string text = printed ? printed : "";
    free(printed);
    return text;
}

std::string Event::Text(const std::string &path) const
{
    const cJSON *item = Find(path);
    if (!item) throw Failure("no " + path + " in " + line_);
    return TextOf(item);
}

double Event::Number(const std::string &path) const
{
    const cJSON *item = Find(path);
    if (!cJSON_IsNumber(item)) throw Failure("no number " + path + " in " + line_);
    return item->valuedouble;
}

static bool Matches(const std::string &line, const std::string &name, const Wanted &wanted)
{
    // Most lines are something else: no need to take them apart.
    if (line.compare(0, 12 + name.size(), "{\"event\":\"" + name + "\",") != 0) return false;
    if (wanted.empty()) return true;
    const Event event(line);
    for (const auto &member : wanted)
        if (!event.Has(member.first) || event.Text(member.first) != member.second) return false;
    return true;
}

Plugsim::Plugsim(const std::vector<std::string> &arguments)
{
    ProcessOptions program;
    program.arguments = {PLUGSIM_PROGRAM};
    program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
    process_ = std::make_unique<Process>(program);
    close(process_->Errors());
    lines_ = std::make_unique<Lines>(process_->Output());
}

size_t Plugsim::Do(const std::string &text)
{
    const size_t before = lines_->Count();
    process_->Write(text + "\n");
    const auto begun = lines_->Find(before, kPatience, [&](const std::string &line) {
        return Matches(line, "command", {{"command", text}});
    });
    if (!begun) throw Failure("plugsim does not take the command " + text);
    const auto done = lines_->Find(*begun, kPatience, [&](const std::string &line) {
        return Matches(line, "done", {{"command", text}}) || Matches(line, "failed", {{"command", text}});
    });
    if (!done) throw Failure("plugsim does not end the command " + text);
    const std::string line = lines_->At(*done);
    if (!Matches(line, "done", {})) throw Failure(line);
    return *begun;
}

void Plugsim::Command(const std::string &text)
{
    mark_ = Do(text) + 1;
}

void Plugsim::Set(const std::string &text)
{
    Do(text);
}

Event Plugsim::Wait(const std::string &name, const Wanted &wanted, double seconds)
{
    const size_t found = Await(name, wanted, seconds);
    mark_ = found + 1;
    return Event(lines_->At(found));
}

Event Plugsim::WaitAlso(const std::string &name, const Wanted &wanted, double seconds)
{
    return Event(lines_->At(Await(name, wanted, seconds)));
}

size_t Plugsim::Await(const std::string &name, const Wanted &wanted, double seconds)
{
    const auto found =
        lines_->Find(mark_, seconds, [&](const std::string &line) { return Matches(line, name, wanted); });
    if (found) return *found;
    std::string text = "no event " + name;
    for (const auto &member : wanted) text += " " + member.first + "=" + member.second;
    const std::vector<std::string> all = lines_->All();
    text += "; behind the mark there was:";
    const size_t shown = 12;
    for (size_t i = std::max(mark_, all.size() > shown ? all.size() - shown : 0); i < all.size(); i++)
        text += "\n  " + all[i].substr(0, 400);
    throw Failure(text);
}

bool Plugsim::Happened(const std::string &name, const Wanted &wanted)
{
    return lines_->Find(mark_, 0, [&](const std::string &line) { return Matches(line, name, wanted); }).has_value();
}

size_t Plugsim::Count(const std::string &name, const Wanted &wanted)
{
    size_t count = 0;
    for (const std::string &line : lines_->All()) count += Matches(line, name, wanted);
    return count;
}

std::vector<Event> Plugsim::All(const std::string &name, const Wanted &wanted)
{
    std::vector<Event> found;
    for (const std::string &line : lines_->All())
        if (Matches(line, name, wanted)) found.emplace_back(line);
    return found;
}

int Plugsim::End()
{
    process_->Signal(SIGTERM);
    const std::optional<int> status = process_->WaitExit(kPatience);
    if (!status) throw Failure("plugsim does not end");
    return *status;
}
