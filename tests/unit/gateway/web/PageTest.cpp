// The page in Chromium, which needs the package of this name. The browser loads it from the server and prints what the
// page has become; or somebody uses it, with the mouse and the keyboard.
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "gateway/translate/Question.h"
#include "tests/unit/gateway/web/Browser.h"
#include "tests/unit/gateway/web/FakeView.h"

using namespace gateway;

namespace
{
// Whatever is asked, one host is no address.
struct StrictView : FakeView {
    Json Ask(const std::string &serial, const std::string &function, const Json &parameters) override
    {
        const Json answer = FakeView::Ask(serial, function, parameters);
        return parameters.value("host", "") == "192.168.1" ? FaultJson({"bad_parameter", sentence}) : answer;
    }
    std::string Asked()
    {
        const std::lock_guard<std::mutex> hold(lock);
        return asked;
    }
    const std::string sentence = "host: '192.168.1' is not an IPv4 address such as 192.168.1.20";
};

struct Page : testing::Test {
    Page()
    {
        options.port = 0;
        options.token = "a secret/&=";
        view.online = {OnlineNow("r1", "2.0.0.7", "AX1"), OnlineNow("r2", "2.0.0.8", "AX2")};
        view.online[1].name = "<img src=x onerror=document.title='taken'>";
        view.reports = {Json::parse(R"({"report":"device-list","time":1700000100,"meaning":"1 devices",
            "fields":{"sequence":1,"devices":[{"ip":"192.168.1.20","mac":"02:1a:2b:00:00:14",
            "name":"<script>document.title='taken'</script>","up":1500,"down":2500,"online":"yes"}]},"raw":"00"})")};
    }
    void SetUp() override
    {
        if (system("command -v chromium >/dev/null") != 0) GTEST_SKIP() << "needs chromium: scripts/test.sh --page";
        char name[] = "/tmp/plug-page-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name));
        folder = name;
    }
    void TearDown() override { EXPECT_TRUE(folder.empty() || system(("rm -rf " + folder).c_str()) == 0); }
    // What the page is, some seconds of its own time after it was opened at this fragment.
    std::string Open(const std::string &fragment)
    {
        const Web web(options, view, counters);
        const std::string command =
            "chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --user-data-dir=" + folder +
            " --virtual-time-budget=3000 --dump-dom 'http://127.0.0.1:" + std::to_string(web.Port()) + "/#" + fragment +
            "' 2>" + folder + ".log";
        std::string dom;
        FILE *pipe = popen(command.c_str(), "r");
        char block[4096];
        size_t count;
        while (pipe && (count = fread(block, 1, sizeof block, pipe)) > 0) dom.append(block, count);
        EXPECT_EQ(0, pipe ? pclose(pipe) : -1);
        unlink((folder + ".log").c_str());
        return dom;
    }
    std::string Address(const Web &web) const
    {
        return "http://127.0.0.1:" + std::to_string(web.Port()) + "/#" + token + "&r1";
    }
    // Chooses a function in the form, which then has its parameters.
    static void Choose(Browser &browser, const std::string &function)
    {
        browser.Value("(s => { s.value = '" + function +
                      "'; s.dispatchEvent(new Event('change', {bubbles: true})); })" +
                      "(document.querySelector('#ask select[name=function]'))");
    }
    static bool Has(const std::string &dom, const std::string &text) { return dom.find(text) != std::string::npos; }

    WebOptions options;
    StrictView view;
    Counters counters;
    std::string folder;
    const std::string token = "token=a%20secret%2F%26%3D";
};
} // namespace

TEST_F(Page, ListsTheFleetAndCountsIt)
{
    const std::string dom = Open(token);
    EXPECT_TRUE(Has(dom, "2 online. 2 sessions, NATS connected")) << dom;
    EXPECT_TRUE(Has(dom, "<td><a href=\"#r1\">r1</a></td><td>name of r1</td><td>AX1</td><td>2.0.0.7</td>")) << dom;
    EXPECT_TRUE(Has(dom, "<caption>version</caption>")) << dom;
    EXPECT_TRUE(Has(dom, ">2.0.0.8</button></td><td class=\"number\">1</td>")) << dom;
    EXPECT_TRUE(Has(dom, "1 to 2 of 2")) << dom;
    EXPECT_TRUE(Has(dom, "<form id=\"login\" hidden=\"\">")) << dom;
}

TEST_F(Page, ShowsNamesAsTextAndRunsNone)
{
    const std::string dom = Open(token);
    EXPECT_TRUE(Has(dom, "<td>&lt;img src=x onerror=document.title='taken'&gt;</td>")) << dom;
    const std::string router = Open(token + "&r2");
    EXPECT_TRUE(Has(router, "<td>&lt;script&gt;document.title='taken'&lt;/script&gt;</td>")) << router;
    EXPECT_TRUE(Has(dom + router, "<title>plug-gateway</title>"));
    EXPECT_FALSE(Has(dom + router, "<title>taken</title>"));
}

TEST_F(Page, ShowsARouterWithItsDevicesRatesAndReports)
{
    const std::string dom = Open(token + "&r1");
    EXPECT_TRUE(Has(dom, "<h2 id=\"serial\">r1</h2>")) << dom;
    EXPECT_TRUE(Has(dom, "1 devices, together 1500 up and 2500 down")) << dom;
    EXPECT_TRUE(Has(dom, "<td>192.168.1.20</td><td>02:1a:2b:00:00:14</td>")) << dom;
    EXPECT_TRUE(Has(dom, "<summary>device-list, 2023-11-14T22:15:00Z, 1 devices</summary>")) << dom;
    EXPECT_TRUE(Has(dom, "<div id=\"asking\" hidden=\"\">")) << dom; // read-only
}

TEST_F(Page, HasAFormForEachFunctionWhenQuestionsAreAllowed)
{
    options.allowAsk = true;
    const std::string dom = Open(token + "&r1");
    EXPECT_TRUE(Has(dom, "<div id=\"asking\">")) << dom;
    for (const char *name : {"identity", "ping", "set-wan-config", "limit"})
        EXPECT_TRUE(Has(dom, std::string("<option>") + name + "</option>")) << name;
    EXPECT_TRUE(Has(dom, "<p id=\"summary\">version and build date")) << dom;
}

TEST_F(Page, AsksForATokenWhenItHasNone)
{
    const std::string none = Open("");
    EXPECT_TRUE(Has(none, "<form id=\"login\">")) << none;
    EXPECT_TRUE(Has(none, "<section id=\"fleet\" hidden=\"\">")) << none;
    EXPECT_FALSE(Has(none, "name of r1"));
    const std::string wrong = Open("token=wrong");
    EXPECT_TRUE(Has(wrong, "<p id=\"refusal\" role=\"alert\">the token of this gateway is needed</p>")) << wrong;
    EXPECT_FALSE(Has(wrong, "name of r1"));
}

// ---- The form

static const char kFormIsThere[] = "document.querySelectorAll('#ask select[name=function] option').length > 80";
static const char kAnswer[] = "document.querySelector('#answer').textContent";

TEST_F(Page, PutsTheQuestionOfItsFormAtAClickAndShowsTheAnswer)
{
    options.allowAsk = true;
    const Web web(options, view, counters);
    Browser browser(folder, Address(web));
    ASSERT_TRUE(browser.Becomes(kFormIsThere));
    Choose(browser, "ping");
    ASSERT_EQ("host,size,count",
              browser.Value("[...document.querySelectorAll('#parameters [name]')].map(f => f.name).join()"));
    browser.Click("#ask button"); // without the host, which is needed
    EXPECT_EQ(false, browser.Value("document.querySelector('#ask').checkValidity()"));
    EXPECT_EQ("", browser.Value(kAnswer));
    EXPECT_EQ("", view.Asked());

    browser.Type("#parameters [name=host]", "192.168.1.20");
    browser.Type("#parameters [name=count]", "18446744073709551615");
    browser.Click("#ask button");
    EXPECT_TRUE(browser.Becomes(std::string(kAnswer) + ".includes('\"ok\":true')")) << browser.Value(kAnswer);
    EXPECT_EQ(R"(r1 ping {"host":"192.168.1.20","count":18446744073709551615})", view.Asked());
    EXPECT_EQ(R"({"ok":true,"function":"ping","status":0,"fields":{"down":18446744073709551615},"ms":3})",
              browser.Value(kAnswer));
}

TEST_F(Page, ShowsTheSentenceAboutAWrongParameter)
{
    options.allowAsk = true;
    const Web web(options, view, counters);
    Browser browser(folder, Address(web));
    ASSERT_TRUE(browser.Becomes(kFormIsThere));
    Choose(browser, "ping");
    browser.Type("#parameters [name=host]", "192.168.1");
    browser.Click("#ask button");
    EXPECT_TRUE(browser.Becomes(std::string(kAnswer) + ".includes(" + Json(view.sentence).dump() + ")"))
        << browser.Value(kAnswer);
    EXPECT_EQ(R"(r1 ping {"host":"192.168.1"})", view.Asked());
}

TEST_F(Page, HasNoFormAndPutsNoQuestionUnlessTheyAreAllowed)
{
    const Web web(options, view, counters);
    Browser browser(folder, Address(web));
    ASSERT_TRUE(browser.Becomes("document.querySelector('#serial')?.textContent === 'r1'"));
    ASSERT_TRUE(browser.Becomes("document.querySelector('#router')?.hidden === false"));
    EXPECT_EQ(true, browser.Value("document.querySelector('#asking').hidden"));
    EXPECT_EQ(0, browser.Value("document.querySelector('#ask button').getClientRects().length")); // nothing to click
    const char *const post = "fetch('api/ask', {method: 'POST', headers: {Authorization: 'Bearer ' + token},"
                             "body: '{\"serial\":\"r1\",\"function\":\"identity\",\"parameters\":{}}'})"
                             ".then(r => r.text().then(t => r.status + t))";
    EXPECT_EQ(
        R"(403{"ok":false,"error":{"code":"forbidden","sentence":"questions are not allowed here: --allow-ask"}})",
        browser.Value(post));
    EXPECT_EQ("", view.Asked());
}
