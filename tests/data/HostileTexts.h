// HostileTexts.h - texts that must never reach a shell, for tests of every text that the platform sends.
//
// Each of them fails the rule for a plain word: 1 to 31 ASCII letters, digits and . : / _ -, the first of them no "-".
// A module with more room than that may accept those of kind LENGTH that fit. Values that are not texts are in
// HostileValues(). None contains a NUL, which ends a text. All are harmless if one gets through.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

struct HostileText {
    enum Kind {
        EMPTY,   // empty, or invisible
        SHELL,   // characters with a meaning to a shell
        OPTION,  // begins as an option does
        LINE,    // begins a new line
        CONTROL, // control characters, DEL included
        BYTES,   // bytes from 0x80 on: no UTF-8, or UTF-8 that looks like something else
        FORMAT,  // conversions of printf, escapes of other languages
        LENGTH,  // harmless characters, too many of them
    };
    Kind kind;
    std::string text;
};

// The text as a JSON string. Control characters are escaped; bytes from 0x80 on stay as they are.
inline std::string JsonString(const std::string &text)
{
    std::string json = "\"";
    for (const char c : text) {
        char escape[8];
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            snprintf(escape, sizeof escape, "\\u%04x", c);
            json += escape;
        } else {
            json += c;
        }
    }
    return json + '"';
}

inline std::vector<HostileText> HostileTexts()
{
    std::vector<HostileText> texts;
    const auto add = [&](HostileText::Kind kind, std::initializer_list<const char *> more) {
        for (const char *text : more) texts.push_back({kind, text});
    };
    // clang-format off
    add(HostileText::EMPTY, {
        "", " ", "  ", "\t", "\n", "\r", "\r\n", "\v", "\f", "\"\"", "''", "\xC2\xA0",
    });

    add(HostileText::SHELL, {
        // another command behind this one
        "10.0.0.1;id", "10.0.0.1; id", ";id", "; id;", "10.0.0.1;", ";", ";;", "10.0.0.1|id",
        "10.0.0.1 | sh", "|id", "|", "||", "10.0.0.1||id", "10.0.0.1&id", "10.0.0.1 & id &", "&",
        "&&", "10.0.0.1&&id", "80;id", "80|sh", "80&&id", "80;", "80|", "80&",
        // a command within
        "$(id)", "10.0.0.$(echo 1)", "`id`", "10.0.0.`echo 1`", "`", "``", "$()", "$(", ")", "$((1+1))",
        "$[1+1]", "<(id)", ">(id)", "=(id)", "80$(id)",
        // variables and expansions
        "$PATH", "${PATH}", "${IFS}", "10.0.0.1${IFS}-j${IFS}ACCEPT", "$IFS$9", "$$", "$!", "$?", "$#", "$@", "$*",
        "$0", "$1", "${#}", "${x:-id}", "${x:=id}", "$'\\x3bid'", "$\"x\"", "$", "~", "~root", "~+", "*",
        "?", "[a-z]", "[!a]*", "/bin/*", "/\?\?\?/\?\?t", "{1,2}", "{10.0.0.1,10.0.0.2}", "10.0.0.{1..9}", "!", "!!",
        "!ls", "! 10.0.0.1", "^a^b", "%1", "%%", "+", "+1", "=", "a=b", "PATH=/tmp", "10.0.0.1,10.0.0.2", ",",
        "@", "@file", "#", "10.0.0.1#", "# x",
        // redirections
        ">", ">>", "<", "<<", "<<<", ">/tmp/x", ">>/tmp/x", "</tmp/x", "2>&1", "10.0.0.1>/tmp/x",
        "10.0.0.1 >/tmp/x", "80>/tmp/x", "<<EOF", "<>/dev/tcp", ">|/tmp/x", "&>/tmp/x",
        // quotes
        "'", "\"", "'10.0.0.1", "10.0.0.1'", "\"10.0.0.1", "10.0.0.1\"", "';id;'", "\";id;\"", "'\"'\"'",
        "\\", "\\\\", "10.0.0.1\\", "\\;id", "\\'", "\\$(id)", "10.0.0.1\\ -j\\ ACCEPT",
        // more words
        "10.0.0.1 10.0.0.2", " 10.0.0.1", "10.0.0.1 ", "10.0.0.1 -j ACCEPT", "80 -j ACCEPT", "80 ", " 80", "8 0",
        "10.0.0.1\t", "\t10.0.0.1", "10.0.0.1 -F", "10.0.0.1 -X;", "80 --help",
        // words of the shell
        "(id)", "{ id; }", "( )", "(:)", ":(){ :; };:", "if true;then", "while :;do :;done", "[ a ]",
        "[[ a ]]", "exec 3<>/dev/null", "eval id", ". /tmp/x", "x() { :; }",
    });

    add(HostileText::OPTION, {
        "-", "--", "---", "-F", "-X", "-D", "-h", "-j", "-t", "-i", "-w", "-c", "-e", "-f", "-s", "-v", "-1", "-0",
        "-80", "-10.0.0.1", "--help", "--version", "--flush", "--modprobe", "--modprobe=/tmp/x", "-M/tmp/x", "-M",
        "-rf", "-rf/", "-/", "-.", "-:", "-_", "-a", "-A", "--to-destination", "--dport", "-jACCEPT",
        "-oProxyCommand=x", "-fa", "-c/tmp/x", "-/tmp/x",
    });

    add(HostileText::LINE, {
        "10.0.0.1\nid", "10.0.0.1\nid\n", "\nid", "\n10.0.0.1", "10.0.0.1\n", "80\n", "80\nid",
        "80\n\n", "10.0.0.1\rid", "10.0.0.1\r", "10.0.0.1\r\nid\r\n", "\r\n10.0.0.1", "\n\n\n",
        "10.0.0.1\\\n;id", "10.0.0.1\v", "10.0.0.1\fid", "x HTTP/1.1\r\nHost: y", "a\r\n\r\nb", "x\n.\n",
    });

    add(HostileText::BYTES, {
        "\x80", "\xBF", "\xFF", "\xFE", "\xFF\xFE", "\xC0\x80", "\xC0\xAF", "\xE0\x80\xAF", "\xC1\x9C",
        "10.0.0.1\xFF", "\xFF" "10.0.0.1", "80\x80", "\xC3", "\xC3(", "\xE2\x82", "\xF0\x9F\x92", "\xF0\x9F\x92\xA9",
        "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80",
        "\xEF\xBB\xBF" "10.0.0.1", // a byte-order mark
        "10.0.0.\xEF\xBC\x91", // a wide digit
        "\xEF\xBC\x9Bid", // a wide semicolon
        "\xD9\xA1\xD9\xA0", // Arabic digits
        "10.0.0.1\xC2\xA0", // a no-break space
        "10.0.0.1\xE2\x80\x8B", // a space without width
        "\xE2\x80\xAE" "1.0.0.01", // written from right to left
        "10\xE2\x80\xA4" "0.0.1", // a leader dot
        "\xE2\x88\x92" "80", // a minus sign
        "\xE2\x80\x93" "F", // a dash
        "10.0.0.1\xE2\x80\xA8id", "10.0.0.1\xC2\x85id", // other new lines
        "\xC3\xA9", "\xE9", "stra\xC3\x9F" "e", "\xB2", "\xC2\xB2",
    });

    add(HostileText::FORMAT, {
        "%s", "%n", "%s%s%s%s", "%d", "%x%x%x%x", "%1$n", "10.0.0.1%n", "%%s", "80%n", "%00", "%0a", "%3b", "%2e%2e",
        "&amp;", "&#59;", "<!--", "<a>", "{{x}}", "<?x?>", "\\n", "\\x3b", "\\u003b", "\\073", "10.0.0.1\\n",
        "' OR '1'='1", "1' --", "*)(x=*",
    });

    add(HostileText::CONTROL, {
        "\x7F", "10.0.0.1\x7F", "10.0.0.1\x7F\x7F", "\b", "10.0.0.2\b1", "\033[2J", "\033]0;x\a", "\x01\x02\x03",
        "\x04", "\x1A", "\x1A" "80", "\a",
    });
    // clang-format on

    for (char byte = 1; byte < 0x20; byte++)
        texts.push_back({HostileText::CONTROL, std::string("10.0") + byte + ".0.1"});
    for (const size_t length : {32, 33, 63, 64, 65, 127, 128, 255, 256, 257, 1023, 1024, 1025, 1500, 4096, 9999, 10000})
        texts.push_back({HostileText::LENGTH, std::string(length, '1')});
    for (const char *piece : {"a", "0", "10.0.0.1:", "../", "/", "._:", "x-"}) {
        std::string text;
        while (text.size() < 10000) text += piece;
        texts.push_back({HostileText::LENGTH, text});
    }
    for (const char *piece : {"A;", "$(x)", "\xFF", "\n", "' ", "%n"}) {
        std::string text;
        while (text.size() < 10000) text += piece;
        texts.push_back({HostileText::SHELL, text});
    }
    return texts;
}

// Values in JSON that are no texts.
inline std::vector<std::string> HostileValues()
{
    // clang-format off
    std::vector<std::string> values = {
        "null", "true", "false", "0", "1", "-1", "80", "8080", "65536", "1.5", "1e3", "1e308", "-0",
        "123456789012345678901234567890", "{}", "[]", "[\"10.0.0.1\"]", "[80]", "[\"1\"]", "{\"a\":\"10.0.0.1\"}",
        "{\"\":\"1\"}", "[[]]", "[null]", "{\"valuestring\":\"80\"}",
    };
    // clang-format on
    std::string nested;
    for (int i = 0; i < 20; i++) nested = "[" + nested + "]"; // deeper ones are no JSON to us: core/JsonParse.h
    values.push_back(nested);
    return values;
}
