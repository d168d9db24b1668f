#include "simulator/console/ScriptCommands.h"

namespace sim
{

static std::string Text(const Words &words, size_t first)
{
    std::string text;
    for (size_t i = first; i < words.size(); i++) text += (i > first ? " " : "") + words[i];
    return text;
}

static Outcome Answer(ConsoleContext *context, const char *as, const std::string &who, const std::string &text)
{
    context->journal->Emit("answer", {TextField("text", text), TextField("as", as), TextField("who", who)});
    return Outcome::Ok();
}

Outcome RunLet(const Words &words, ConsoleContext *context)
{
    std::string value, error;
    if (!Calculate(From(words, 2), &value, &error)) return Outcome::Fail(error);
    context->script->values.Set(words[1], value);
    return Outcome::Ok();
}

Outcome RunCheck(const Words &words, ConsoleContext *)
{
    std::string error;
    const Event value = {"check", {TextField("value", words[1])}};
    return Result(CheckExpectation(value, {"value", words[2], words[3]}, &error), error);
}

Outcome RunRecall(const Words &words, ConsoleContext *context)
{
    WaitQuery query;
    std::string error;
    if (!ParseWait(From(words, 1), 0, &query, &error)) return Outcome::Fail(error);
    return Result(context->journal->Log().Recall(query), "there has been no " + WaitText(query));
}

Outcome RunTitle(const Words &words, ConsoleContext *context)
{
    return Answer(context, "title", "", Text(words, 1));
}

Outcome RunShow(const Words &words, ConsoleContext *context)
{
    return Answer(context, "show", words[1], Text(words, 2));
}

Outcome RunOk(const Words &words, ConsoleContext *context)
{
    return Answer(context, "ok", "", Text(words, 1));
}

Outcome RunStart(const Words &words, ConsoleContext *context)
{
    std::string error;
    return Result(context->script->programs.Start(words[1], From(words, 2), &error), error);
}

Outcome RunTell(const Words &words, ConsoleContext *context)
{
    std::string error;
    return Result(context->script->programs.Tell(words[1], Text(words, 2), &error), error);
}

Outcome RunStop(const Words &words, ConsoleContext *context)
{
    std::string error;
    return Result(context->script->programs.Stop(words[1], &error), error);
}

Outcome RunRead(const Words &words, ConsoleContext *context)
{
    Outcome outcome;
    outcome.kind = Outcome::Wait;
    outcome.wait = {"output", {{"program", words[1]}, {"text~", words[2]}}, context->waitTimeoutMs};
    if (words.size() > 3 && !ParseSeconds(words[3], &outcome.wait.timeoutMs))
        return Outcome::Fail("'" + words[3] + "' is not a time");
    return outcome;
}

Outcome RunQuote(const Words &words, ConsoleContext *context)
{
    Outcome outcome = RunRead(words, context);
    outcome.then = [context, words](const Event &line) {
        return Answer(context, "show", words[1], FindField(line.fields, "text")->value);
    };
    return outcome;
}

} // namespace sim
