#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

Json SampleOf(const Json &parameter, size_t position)
{
    const std::string type = parameter["type"], name = parameter["name"], digit = std::to_string(position % 10);
    if (parameter.contains("values")) {
        const Json &values = parameter["values"];
        return values[(position + 1) % values.size()];
    }
    if (type == "number") return parameter["low"].get<int64_t>() + 1 + static_cast<int64_t>(position);
    if (type == "ip") return "192.168.1." + digit;
    if (type == "mac") return "02:1a:2b:00:00:0" + digit;
    if (type == "hex") return std::string(2 * parameter["size"].get<size_t>(), digit[0]);
    if (type == "json") return "{\"a\":" + digit + "}";
    if (name == "days") return "135";
    if (name == "start" || name == "stop") return "1" + digit + ":00";
    return "text " + digit;
}

Json SamplesOf(const Json &row, bool all)
{
    Json given = Json::object();
    for (const Json &parameter : row["parameters"])
        if (all || parameter["required"])
            given[parameter["name"].get<std::string>()] = SampleOf(parameter, given.size());
    return given;
}

Json RowOf(const Json &rows, const std::string &name)
{
    for (const Json &row : rows)
        if (row["name"] == name) return row;
    ADD_FAILURE() << "no row " << name;
    return Json::object();
}

Bytes Asked(const std::string &function, const Json &parameters)
{
    Bytes request;
    EXPECT_EQ("none", FaultOf([&] { request = MakeQuestion(function, parameters).parameters; }))
        << function << ' ' << parameters;
    return request;
}
