// What programs ask the gateway: the name of a function or command and a JSON text. What is taken fits a frame to an
// agent and says what was asked: the fields of a request, asked again, give the same request. What is not taken has a
// code and a short sentence.
//
// Input: the name, a zero, the text.
#include <algorithm>
#include <cstring>

#include "FuzzInput.h"
#include "gateway/translate/Command.h"
#include "gateway/translate/Question.h"
#include "protocol/FunctionDecoders.h"

using namespace gateway;

template <class... Codes>
static void Refused(const Fault &fault, Codes... codes)
{
    const std::vector<std::string> allowed = {codes...};
    REQUIRE(std::find(allowed.begin(), allowed.end(), fault.code) != allowed.end());
    REQUIRE(*fault.what() && strlen(fault.what()) < 1500);
    const Json json = FaultJson(fault);
    REQUIRE(json["ok"] == false && Json::parse(JsonText(json)) == json);
}

static void Ask(const std::string &name, const Json &parameters)
{
    Question question;
    try {
        question = MakeQuestion(name, parameters);
    } catch (const Fault &fault) {
        return Refused(fault, "unknown_function", "bad_parameter");
    }
    REQUIRE(question.parameters.size() <= 1482 && protocol::FindFunction(question.function));
    const protocol::Fields fields = protocol::DecodeRequest(question.function, question.parameters);
    const Question again =
        MakeQuestion(std::to_string(question.function), FieldsJson(fields)); // a Fault ends the program
    REQUIRE(again.parameters == question.parameters);
}

static void Order(const std::string &name, const Json &parameters)
{
    Command command;
    try {
        command = MakeCommand(name, parameters);
    } catch (const Fault &fault) {
        return Refused(fault, "unknown_command", "bad_parameter");
    }
    REQUIRE(command.text.size() <= 1498);
    const Json text = Json::parse(command.text, nullptr, false);
    REQUIRE(text.is_object() && text.size() >= parameters.size());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input = {data, size};
    const std::string name = input.Text();
    Json parameters;
    try {
        parameters = ReadParameters({reinterpret_cast<const char *>(input.data), input.left});
    } catch (const Fault &fault) {
        Refused(fault, "bad_json");
        return 0;
    }
    REQUIRE(parameters.is_object());
    Ask(name, parameters);
    Order(name, parameters);
    return 0;
}
