// gateway_tables - the parts of docs/gateway.md that are made from the tables: functions, commands, reports, metrics.
#include <cstdio>
#include <cstring>

#include "gateway/translate/Command.h"
#include "gateway/translate/Question.h"
#include "gateway/translate/Report.h"
#include "gateway/translate/Tables.h"
#include "gateway/web/Metrics.h"
#include "tests/unit/gateway/translate/Examples.h"

using namespace gateway;

// A cell of a table.
static std::string Code(const std::string &text)
{
    std::string cell;
    for (const char c : text) cell += c == '|' ? std::string("\\|") : std::string(1, c);
    return "`" + cell + "`";
}

static void Row(const std::vector<std::string> &cells)
{
    std::string line = "|";
    for (const std::string &cell : cells) line += ' ' + cell + " |";
    puts(line.c_str());
}

static void Functions()
{
    Row({"function", "", "parameters", "answer"});
    Row({"---", "---", "---", "---"});
    for (const Json &row : FunctionsJson()) {
        const std::string name = row["name"];
        const uint16_t number = row["number"];
        const Json answer =
            row["answered"] ? AnswerJson(number, ExampleReply(*protocol::FindFunction(number))) : SentJson(number);
        Row({std::to_string(number) + " `" + name + "`", row["summary"], Code(JsonText(ExampleParameters(row))),
             Code(JsonText(answer))});
    }
}

static void Commands()
{
    Row({"command", "", "parameters", "what the agent reads"});
    Row({"---", "---", "---", "---"});
    for (const Json &row : CommandsJson()) {
        Json parameters = ExampleParameters(row);
        Row({Code(row["name"]), row["summary"], Code(JsonText(parameters)),
             Code(MakeCommand(row["name"], parameters).text)});
    }
}

static void Reports()
{
    Row({"report", "", "document"});
    Row({"---", "---", "---"});
    for (const protocol::Upload &upload : protocol::kUploads) {
        const Report report = MakeReport(upload.withMac ? 19 : 17, upload.dataType, ExampleReport(upload));
        Json document = report.document;
        document["raw"] = "...";
        Row({Code(report.name), upload.summary, Code(JsonText(document))});
    }
}

static void Metrics()
{
    Row({"metric", "label", "kind", ""});
    Row({"---", "---", "---", "---"});
    struct Line {
        std::string metric, label, value, kind, help;
    };
    std::vector<Line> lines;
    const auto add = [&lines](const Line &line) {
        if (!lines.empty() && lines.back().metric == line.metric)
            lines.back().value += ", " + line.value;
        else
            lines.push_back(line);
    };
#define GATEWAY_LINE(member, kind, metric, label, value, help) add({metric, label, value, #kind, help});
    GATEWAY_FIGURES(GATEWAY_LINE)
#undef GATEWAY_LINE
    for (const Line &line : lines)
        Row({Code(line.metric), line.label.empty() ? "" : "`" + line.label + "`: " + line.value, line.kind, line.help});
    Row({"`plug_gateway_question_seconds`", "", "Histogram", "from a question to its answer"});
}

int main(int argc, char *argv[])
{
    const struct {
        const char *name;
        void (*print)();
    } tables[] = {{"functions", Functions}, {"commands", Commands}, {"reports", Reports}, {"metrics", Metrics}};
    for (const auto &table : tables) {
        if (argc != 2 || strcmp(argv[1], table.name) != 0) continue;
        table.print();
        return 0;
    }
    fprintf(stderr, "gateway_tables functions | commands | reports | metrics\n");
    return 2;
}
