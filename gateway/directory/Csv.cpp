#include "gateway/directory/Csv.h"

#include <stdexcept>

namespace gateway
{

std::vector<CsvRow> ReadCsv(const std::string &text)
{
    std::vector<CsvRow> rows;
    size_t at = 0, line = 1;
    const auto bad = [&](const char *what) { throw std::runtime_error("line " + std::to_string(line) + ": " + what); };
    while (at < text.size()) {
        CsvRow row = {line, {}};
        for (bool more = true; more;) {
            std::string field;
            if (text[at] == '"') {
                for (at++;; at++) {
                    if (at >= text.size()) bad("a quote does not end");
                    if (text[at] == '"' && (at + 1 >= text.size() || text[++at] != '"')) break;
                    line += text[at] == '\n';
                    field += text[at];
                }
                if (at + 1 == text.size() && text[at] == '"') at++; // it was the last character
                if (at < text.size() && text[at] != ',' && text[at] != '\r' && text[at] != '\n')
                    bad("text behind a quote");
            } else {
                while (at < text.size() && text[at] != ',' && text[at] != '\r' && text[at] != '\n') field += text[at++];
            }
            row.fields.push_back(std::move(field));
            more = at < text.size() && text[at] == ',';
            if (more && ++at == text.size()) {
                row.fields.emplace_back();
                more = false;
            }
        }
        if (at < text.size() && text[at] == '\r') at++;
        if (at < text.size() && text[at] == '\n') at++;
        line++;
        if (row.fields.size() > 1 || !row.fields[0].empty()) rows.push_back(std::move(row));
    }
    return rows;
}

std::string CsvLine(const std::vector<std::string> &fields)
{
    std::string text;
    for (const std::string &field : fields) {
        if (&field != &fields.front()) text += ',';
        if (field.find_first_of(",\"\r\n") == std::string::npos) {
            text += field;
            continue;
        }
        text += '"';
        for (const char c : field) text += c == '"' ? "\"\"" : std::string(1, c);
        text += '"';
    }
    return text + "\r\n";
}

} // namespace gateway
