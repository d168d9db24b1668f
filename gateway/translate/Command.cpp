#include "gateway/translate/Command.h"

#include "gateway/translate/Parameters.h"
#include "platform/Frame.h"
#include "protocol/Meanings.h"

namespace gateway
{

Command MakeCommand(const std::string &name, const Json &parameters)
{
    const protocol::PluginCommand *command = protocol::FindPluginCommand(name);
    if (!command || command->function)
        throw Fault("unknown_command", "there is no command '" + protocol::Visible(name.substr(0, 64)) + "'" +
                                           (command ? "; it is a question" : ""));
    Command made = {command->dataType, CommandText(*command, parameters)};
    const size_t most = MostPayload(kMaxInnerHead - kMacSize);
    if (made.text.size() > most)
        throw BadParameter(name + ": the text has " + std::to_string(made.text.size()) + " bytes, and a router takes " +
                           std::to_string(most) + " at most");
    return made;
}

Json ResultJson(const std::string &name, uint8_t dataType, int16_t result)
{
    Json json = {{"ok", true}, {"command", TextJson(name)}, {"result", result}};
    const std::string meaning = protocol::ResultMeaning(dataType, result);
    if (!meaning.empty()) json["meaning"] = meaning;
    return json;
}

} // namespace gateway
