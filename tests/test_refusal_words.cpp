// One refusal, two front ends: every refused change is said by the command
// line and by the viewer's page in the same words, each naming what a
// person gave in its own terms (the option as typed; the form's field),
// and neither writes anything.
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/rpl_toc.h"
#include "support/test_support.h"
#include "tools/core/session.h"
#include "tools/view/view_handler.h"

#ifndef RPL_TOC_BINARY
#define RPL_TOC_BINARY ""
#define RPL_EXAMPLES_DIR ""
#endif

using namespace rpltest;

namespace {

const std::string kToken = "00112233445566778899aabbccddeeff";
constexpr int kPort = 43118;

// `words` with each "{NAME}" replaced by its value.
std::string filled(std::string words, const std::vector<std::pair<std::string, std::string>>& names) {
    for (const auto& [name, value] : names) {
        std::string key = "{" + name + "}";
        for (std::size_t at = words.find(key); at != std::string::npos; at = words.find(key, at + value.size()))
            words.replace(at, key.size(), value);
    }
    return words;
}

class RefusalWords : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(RPL_TOC_BINARY).empty()) GTEST_SKIP() << "rpl-toc is not built";
        write_file(db_.file("small@timing.rplset"), kSmallAfterUnmarkF);
        session_ = std::move(rpl_toc::open_session(small_, db_.path()).result());
        handler_ = std::make_unique<rpl_toc::ViewHandler>(*session_, kToken, kPort);
    }

    Result cli(const std::vector<std::string>& options, const std::string& path) {
        std::vector<std::string> args = {RPL_TOC_BINARY, "--db-dir", db_.path(), "set", small_, path};
        args.insert(args.end(), options.begin(), options.end());
        return spawn(args, scratch_.path());
    }

    rpl_toc::HttpResponse page(const nlohmann::json& body) {
        rpl_toc::HttpRequest request = rpl_toc::request_for_target("POST", "/api/set");
        request.body = body.dump();
        request.headers = {{"Host", "127.0.0.1:" + std::to_string(kPort)},
                           {"X-RPL-Token", kToken},
                           {"Content-Type", "application/json"},
                           {"Origin", "http://127.0.0.1:" + std::to_string(kPort)}};
        return handler_->handle(request);
    }

    std::string settings() { return read_file(db_.file("small@timing.rplset")); }

    const std::string small_ = RPL_EXAMPLES_DIR "/small.json";  // R: T1 (3 columns), F (C1, G), X1
    TempDir db_;
    TempDir scratch_;
    std::unique_ptr<rpl_toc::Session> session_;
    std::unique_ptr<rpl_toc::ViewHandler> handler_;
};

TEST_F(RefusalWords, EveryRefusedChangeIsWordedAlikeByTheCommandLineAndThePage) {
    const std::string table = "||R||T1", chart = "||R||F||C1";
    struct Case {
        const char* what;
        std::string path;
        std::vector<std::string> options;  // the command line's
        nlohmann::json body;               // the page's, without "path"
        // The words both say; {given} and {field} are each front end's.
        std::string words;
        std::string cli_given, page_given;
        int status;
    };
    const std::vector<Case> cases = {
        {"an unknown path", "||R||nope", {"--orientation", "2"}, {{"orientation", 2}},
         "no section has the path '||R||nope'{hint}", "", "", 404},
        {"a third orientation", table, {"--orientation", "3"}, {{"orientation", 3}},
         "{given}: out of range; the page orientation is 1 (portrait) or 2 (landscape)", "--orientation '3'",
         "Page orientation", 400},
        {"a third chart type", chart, {"--chart-type", "3"}, {{"chart_type", 3}},
         "{given}: out of range; the chart type is 1 (bar) or 2 (line)", "--chart-type '3'", "Chart type", 400},
        {"a chart type of a table", table, {"--chart-type", "2"}, {{"chart_type", 2}},
         "{chart} applies to charts only; '||R||T1' is a table", "", "", 400},
        {"widths of a chart", chart, {"--width", "0=1"}, {{"widths", {{0, 1}}}},
         "{widths}, {aligns} and {orders} apply to tables only; '||R||F||C1' is a chart", "", "", 400},
        {"a column the table lacks", table, {"--width", "3=10"}, {{"widths", {{3, 10}}}},
         "{given}: no column 3; the table has 3 columns, numbered from 0", "--width '3=10'", "Width of column 3", 400},
        {"a width past the maximum", table, {"--width", "0=99999999999", "--width", "1=1", "--width", "2=1"},
         {{"widths", {{0, 99999999999}, {1, 1}, {2, 1}}}}, "{given}: out of range; a width runs from 0 to 10,000",
         "--width '0=99999999999'", "Width of column 0", 400},
        {"a negative width", table, {"--width", "0=1", "--width", "1=-5", "--width", "2=1"},
         {{"widths", {{0, 1}, {1, -5}, {2, 1}}}}, "{given}: out of range; a width runs from 0 to 10,000",
         "--width '1=-5'", "Width of column 1", 400},
        {"a column given twice", table, {"--width", "0=1", "--width", "0=2"}, {{"widths", {{0, 1}, {0, 2}}}},
         "{widths}: column 0 is given more than once", "", "", 400},
        {"a short width list", table, {"--width", "0=120"}, {{"widths", {{0, 120}}}},
         "{given}: widths are stored only when every column has one; give {widths} for columns 1 and 2 too",
         "--width '0=120'", "Width", 400},
        {"alignments without widths", table, {"--align", "2=R"}, {{"aligns", {{2, "R"}}}},
         "{given}: alignments are stored with the widths, only when every column has a width; give {widths} for "
         "columns 0, 1 and 2 too",
         "--align '2=R'", "Alignment", 400},
        {"a display column past the last", table, {"--order", "0=3", "--order", "1=1", "--order", "2=0"},
         {{"orders", {{0, 3}, {1, 1}, {2, 0}}}},
         "{given}: out of range; display columns run from 0 to 2, one for each of the table's 3 columns",
         "--order '0=3'", "Display column of column 0", 400},
        {"a display column used twice", table, {"--order", "0=1", "--order", "1=1", "--order", "2=0"},
         {{"orders", {{0, 1}, {1, 1}, {2, 0}}}},
         "{given}: display column 1 would also be that of column 0; each display column is used once",
         "--order '1=1'", "Display column of column 1", 400},
    };
    const std::vector<std::pair<std::string, std::string>> cli_names = {
        {"hint", " (rpl-toc list --all prints every path)"},
        {"chart", "--chart-type"}, {"widths", "--width"}, {"aligns", "--align"}, {"orders", "--order"}};
    const std::vector<std::pair<std::string, std::string>> page_names = {
        {"hint", ""}, {"chart", "Chart type"}, {"widths", "Width"}, {"aligns", "Alignment"}, {"orders", "Display column"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<std::pair<std::string, std::string>> on_cli = cli_names, on_page = page_names;
        on_cli.emplace_back("given", c.cli_given);
        on_page.emplace_back("given", c.page_given);

        Result said = cli(c.options, c.path);
        EXPECT_EQ(said.code, 2);
        EXPECT_EQ(said.err, "rpl-toc: error: " + filled(c.words, on_cli) + "\n");

        nlohmann::json body = c.body;
        body["path"] = c.path;
        rpl_toc::HttpResponse answer = page(body);
        std::string sentence = filled(c.words, on_page);
        sentence[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(sentence[0])));
        EXPECT_EQ(answer.status, c.status);
        EXPECT_EQ(nlohmann::json::parse(answer.body), nlohmann::json({{"format", 1}, {"error", sentence + "."}}));

        EXPECT_EQ(settings(), kSmallAfterUnmarkF);
    }
}

}  // namespace
