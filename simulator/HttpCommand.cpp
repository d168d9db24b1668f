#include "simulator/HttpCommand.h"

namespace sim
{

Outcome RunHttp(const Words &words, CommandContext *context)
{
    if (words.size() == 1) {
        context->journal->Say(HttpWrongList());
        return Outcome::Ok();
    }
    HttpServer *server = context->platform->Http();
    if (!server) return Outcome::Fail("there is no HTTP server: start with --http ADDR:PORT");
    if (words[1] == "off") {
        if (words.size() > 3) return Outcome::Fail("use: http off [NAME]");
        const std::string name = words.size() > 2 ? words[2] : "";
        if (server->Wrongs()->Off(name) == 0 && !name.empty())
            return Outcome::Fail("'" + name + "' is not switched on");
        return Outcome::Ok();
    }
    std::string error;
    return server->Wrongs()->Add(Words(words.begin() + 1, words.end()), &error) ? Outcome::Ok() : Outcome::Fail(error);
}

} // namespace sim
