// The library's messages, debug traces and internal-error reports: exact
// texts and numbers reach the host, and a broken invariant is reported and
// then carried past.
#include "support/test_support.h"

#include <filesystem>
#include <fstream>

using namespace rpltest;

namespace {

class Messages : public HostTest {
protected:
    void TearDown() override {
        host_set_message_echo(false, false);
        HostTest::TearDown();
    }
};

// A section that notes its destruction, to show the code went on.
class NotingSection : public RPL_FOLDER {
public:
    NotingSection(const std::string& name, std::vector<std::string>* log) : RPL_FOLDER(S(name)), log_(log) {}
    ~NotingSection() override { log_->push_back(Std(m_name)); }

private:
    std::vector<std::string>* log_;
};

// The library's sources, found from this file's own place in the tree.
std::string source_line(const std::string& file, int line) {
    std::filesystem::path root = std::filesystem::path(__FILE__).parent_path().parent_path();
    std::ifstream in(root / "rpl" / file);
    std::string text;
    for (int n = 1; n <= line && std::getline(in, text); ++n) {
    }
    return text;
}

std::string stem(const std::string& file) { return std::filesystem::path(file).stem().string(); }

}  // namespace

TEST_F(Messages, InformationFactoriesFillTextNumberAndArgumentsInOrder) {
    struct CASE {
        std::function<MSG_I*()> make;
        const char* text;
        unsigned long number;
        std::vector<std::string> args;
        const char* formatted;
    };
    const std::vector<CASE> cases = {
        {[] { return MSG_RPL::I::REPORT_STATUS("Fitter", 42, "00:01:02"); },
         "Status report: %1!s! is at %2!d!%% with elapsed time %3!s!./IRPL_REPORT_STATUS", 1,
         {"Fitter", "42", "00:01:02"}, "Status report: Fitter is at 42% with elapsed time 00:01:02."},
        {[] { return MSG_RPL::I::REPORT_STATUS("x", -1, ""); },
         "Status report: %1!s! is at %2!d!%% with elapsed time %3!s!./IRPL_REPORT_STATUS", 1,
         {"x", "-1", ""}, "Status report: x is at -1% with elapsed time ."},
        {[] { return MSG_RPL::I::REPORT_STATUS("big", 2147483647, "9h"); },
         "Status report: %1!s! is at %2!d!%% with elapsed time %3!s!./IRPL_REPORT_STATUS", 1,
         {"big", "2147483647", "9h"}, "Status report: big is at 2147483647% with elapsed time 9h."},
        {[] { return MSG_RPL::I::WRITE_REPORT_FILE("out/report.txt"); },
         "Writing Report file %1!s!/IRPL_WRITE_REPORT_FILE", 2, {"out/report.txt"},
         "Writing Report file out/report.txt"},
        {[] { return MSG_RPL::I::REPORT_FILE_NOT_OPENED("r.html"); },
         "Can't open Text-Format or HTML-Format Report File %1!s!/IRPL_REPORT_FILE_NOT_OPENED", 3, {"r.html"},
         "Can't open Text-Format or HTML-Format Report File r.html"},
    };
    for (const CASE& c : cases) {
        std::unique_ptr<MSG_I> msg(c.make());
        ASSERT_NE(msg, nullptr);
        EXPECT_FALSE(msg->is_debug());
        EXPECT_EQ(msg->text(), c.text);
        EXPECT_EQ(msg->number(), c.number) << c.text;
        EXPECT_EQ(msg->args(), c.args) << c.text;
        EXPECT_EQ(msg->formatted(), c.formatted);
        EXPECT_TRUE(host_message_log().info_messages.empty()) << "the caller issues it, not the factory";

        msg->issue();
        ASSERT_EQ(host_message_log().info_messages.size(), 1u);
        EXPECT_EQ(host_message_log().info_messages[0].number, c.number);
        host_clear_messages();
    }
}

TEST_F(Messages, IdentifiersNameTheSeverityModuleAndMessage) {
    std::unique_ptr<MSG_I> status(MSG_RPL::I::REPORT_STATUS("a", 1, "b"));
    std::unique_ptr<MSG_I> write(MSG_RPL::I::WRITE_REPORT_FILE("a"));
    std::unique_ptr<MSG_I> not_opened(MSG_RPL::I::REPORT_FILE_NOT_OPENED("a"));
    EXPECT_EQ(status->identifier(), "IRPL_REPORT_STATUS");
    EXPECT_EQ(write->identifier(), "IRPL_WRITE_REPORT_FILE");
    EXPECT_EQ(not_opened->identifier(), "IRPL_REPORT_FILE_NOT_OPENED");
    // A file name with its own "/" stays an argument and never splits the text.
    std::unique_ptr<MSG_I> path(MSG_RPL::I::WRITE_REPORT_FILE("/a/b/c"));
    EXPECT_EQ(path->identifier(), "IRPL_WRITE_REPORT_FILE");
    EXPECT_EQ(path->formatted(), "Writing Report file /a/b/c");
}

TEST_F(Messages, DebugMessageIsFormattedAndTaggedRpl) {
    std::unique_ptr<MSG_D> msg(MSG_RPL::DEBUG_MSG("type %d in %s, %5.1f%%", 12, "||R||T", 99.5));
    ASSERT_NE(msg, nullptr);
    EXPECT_TRUE(msg->is_debug());
    EXPECT_EQ(msg->text(), "type 12 in ||R||T,  99.5%");
    EXPECT_EQ(msg->module(), "RPL");
    EXPECT_TRUE(host_message_log().debug_traces.empty()) << "the caller issues it, not the factory";

    msg->issue();
    ASSERT_EQ(host_message_log().debug_traces.size(), 1u);
    EXPECT_EQ(host_message_log().debug_traces[0].module, "RPL");
    EXPECT_EQ(host_message_log().debug_traces[0].text, "type 12 in ||R||T,  99.5%");
}

TEST_F(Messages, DebugTraceReachesTheHostUnderRpl) {
    const std::vector<std::pair<std::function<bool()>, std::string>> cases = {
        {[] { return rpl_msg_debug("Unhandled RDB Object type: %d", -3); }, "Unhandled RDB Object type: -3"},
        {[] { return rpl_msg_debug("No root folder in report."); }, "No root folder in report."},
        {[] { return rpl_msg_debug("%s|%s", "a", "b"); }, "a|b"},
    };
    for (bool tracing : {false, true}) {
        host_set_message_echo(tracing, false);
        for (const auto& c : cases) {
            host_clear_messages();
            testing::internal::CaptureStderr();
            EXPECT_EQ(c.first(), tracing) << "the host's answer comes back";
            testing::internal::GetCapturedStderr();
            ASSERT_EQ(host_message_log().debug_traces.size(), 1u);
            EXPECT_EQ(host_message_log().debug_traces[0].module, "RPL");
            EXPECT_EQ(host_message_log().debug_traces[0].text, c.second);
        }
    }
}

// Each broken invariant: what provokes it, the condition and file it names,
// and proof that the code went on afterwards.
TEST_F(Messages, InternalErrorsCarryConditionModuleFileAndLineThenGoOn) {
    struct CASE {
        const char* what;
        std::function<void(std::vector<std::string>& destroyed)> provoke;
        std::function<void(const std::vector<std::string>& destroyed)> went_on;
        const char* condition;
        const char* file;
    };
    RPL_FOLDER parent(S("P"));
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("r"));
    RPL_SECTION_LIST* toc_roots = toc.m_children;
    RPL_REPORT_TOC* doomed = nullptr;
    const std::vector<CASE> cases = {
        {"add_child(null)",
         [&](std::vector<std::string>&) { parent.add_child(nullptr); },
         [&](const std::vector<std::string>&) { EXPECT_EQ(parent.m_children, nullptr) << "nothing added"; },
         "child != NULL", "rpl_report_section"},
        {"section destroyed with a null child",
         [&](std::vector<std::string>& destroyed) {
             auto* s = new NotingSection("outer", &destroyed);
             s->add_child(new NotingSection("before", &destroyed));
             s->m_children->push_back(nullptr);
             s->add_child(new NotingSection("after", &destroyed));
             delete s;
         },
         [&](const std::vector<std::string>& destroyed) {
             EXPECT_EQ(destroyed, (std::vector<std::string>{"outer", "before", "after"}));
         },
         "rs != NULL", "rpl_report_section"},
        {"clear_children with a null root",
         [&](std::vector<std::string>& destroyed) {
             toc.m_children->push_back(nullptr);
             toc.m_children->push_back(new NotingSection("root", &destroyed));
             toc.m_section_index.push_back(toc.m_children->back());
             toc.clear_children();
         },
         [&](const std::vector<std::string>& destroyed) {
             EXPECT_EQ(destroyed, (std::vector<std::string>{"root"}));
             EXPECT_TRUE(toc.m_children->empty());
             EXPECT_TRUE(toc.m_section_index.empty());
         },
         "rs != NULL", "rpl_report_toc"},
        {"clear_children without a root list",
         [&](std::vector<std::string>&) {
             toc.m_children = nullptr;
             toc.m_section_index.push_back(nullptr);
             toc.clear_children();
         },
         [&](const std::vector<std::string>&) {
             EXPECT_TRUE(toc.m_section_index.empty()) << "the index is still emptied";
             toc.m_children = toc_roots;
         },
         "m_children != NULL", "rpl_report_toc"},
        {"TOC destroyed without a root list",
         [&](std::vector<std::string>&) {
             doomed = new RPL_REPORT_TOC(RDB_REPORT_TIMING, S("r"));
             delete doomed->m_children;
             doomed->m_children = nullptr;
             delete doomed;
         },
         [&](const std::vector<std::string>&) {
             EXPECT_FALSE(RPL_REPORT_TOC::is_valid_pointer(doomed)) << "it still left the registry";
         },
         "m_children != NULL", "rpl_report_toc"},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.what);
        host_clear_messages();
        std::vector<std::string> destroyed;
        c.provoke(destroyed);
        const auto& errors = host_message_log().internal_errors;
        ASSERT_FALSE(errors.empty());
        for (const HOST_INTERNAL_ERROR& e : errors) {
            EXPECT_EQ(e.condition, c.condition);
            EXPECT_EQ(e.module, "RPL");
            EXPECT_EQ(stem(e.file), c.file);
            EXPECT_NE(source_line(std::filesystem::path(e.file).filename().string(), e.line).find(c.condition),
                      std::string::npos)
                << "line " << e.line << " of " << e.file << " holds the check";
        }
        c.went_on(destroyed);
    }
}

TEST_F(Messages, InternalErrorsAreReportedOncePerBrokenInvariant) {
    RPL_FOLDER parent(S("P"));
    parent.add_child(new RPL_FOLDER(S("a")));
    parent.add_child(nullptr);
    parent.add_child(nullptr);
    parent.add_child(new RPL_FOLDER(S("b")));
    EXPECT_EQ(internal_error_conditions(), (std::vector<std::string>{"child != NULL", "child != NULL"}));
    ASSERT_NE(parent.m_children, nullptr);
    ASSERT_EQ(parent.m_children->size(), 2u);
    EXPECT_EQ(Std(parent.m_children->back()->m_name), "b");
    EXPECT_TRUE(host_message_log().debug_traces.empty()) << "an internal error is not a trace";
}
