// Rows and fields of CSV files as RFC 4180 has them.
#include <gtest/gtest.h>

#include "gateway/directory/Csv.h"

using namespace gateway;

namespace
{
using Rows = std::vector<std::vector<std::string>>;
Rows Read(const std::string &text)
{
    Rows rows;
    for (const CsvRow &row : ReadCsv(text)) rows.push_back(row.fields);
    return rows;
}

TEST(Csv, RowsEndWithCrLfOrLfOrTheText)
{
    EXPECT_EQ((Rows{{"a", "b"}, {"c", "d"}, {"e", "f"}}), Read("a,b\r\nc,d\ne,f"));
}

TEST(Csv, EmptyFieldsCountAndEmptyLinesDoNot)
{
    EXPECT_EQ((Rows{{"", "b", ""}, {"", ""}}), Read(",b,\n\n\r\n,"));
}

TEST(Csv, QuotedFieldsMayHoldCommasLineEndsAndQuotes)
{
    EXPECT_EQ((Rows{{"a,b", "c\r\nd", "say \"yes\"", "", "\""}, {"x"}}),
              Read("\"a,b\",\"c\r\nd\",\"say \"\"yes\"\"\",\"\",\"\"\"\"\nx"));
}

TEST(Csv, AQuoteAtTheEndOfTheTextEndsItsField)
{
    EXPECT_EQ((Rows{{"a", "b"}}), Read("a,\"b\""));
    EXPECT_EQ((Rows{{"a", "b\""}}), Read("a,\"b\"\"\""));
}

TEST(Csv, ALineIsCountedAcrossQuotedLineEnds)
{
    const auto rows = ReadCsv("a\n\"b\nc\"\nd\n");
    ASSERT_EQ(3u, rows.size());
    EXPECT_EQ(2u, rows[1].line);
    EXPECT_EQ(4u, rows[2].line);
}

TEST(Csv, AQuoteThatDoesNotEndIsAnErrorWithItsLine)
{
    for (const char *text : {"a\n\"b", "a\n\"b\"\"", "a\n\"b\"c"}) {
        try {
            ReadCsv(text);
            ADD_FAILURE() << text;
        } catch (const std::runtime_error &error) {
            EXPECT_EQ(0, std::string(error.what()).find("line 2: ")) << error.what();
        }
    }
}

TEST(Csv, WhatIsWrittenIsReadAgain)
{
    const std::vector<std::string> fields = {"plain", "", "a,b", "\"", "line\nend", "\r", " blank "};
    EXPECT_EQ((Rows{fields, fields}), Read(CsvLine(fields) + CsvLine(fields)));
}
} // namespace
