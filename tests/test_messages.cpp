// The library's messages, debug traces and internal-error reports: exact
// texts and numbers reach the host, and a broken invariant is reported and
// then carried past.
#include "support/test_support.h"

#include <filesystem>
#include <fstream>

using namespace rpltest;

namespace {

class Messages : public HostTest {};

// Line `line` of a library source, found from this file's place in the tree.
std::string source_line(const std::string& file, int line) {
    std::ifstream in(std::filesystem::path(__FILE__).parent_path().parent_path() / "rpl" / file);
    std::string text;
    for (int n = 1; n <= line && std::getline(in, text); ++n) {
    }
    return text;
}

}  // namespace

TEST_F(Messages, InformationFactoriesFillTextNumberAndArgumentsInOrder) {
    const struct {
        std::function<MSG_I*()> make;
        const char* text;
        unsigned long number;
        std::vector<std::string> args;
    } kCases[] = {
        // The percentage is bound to "%2!d!" as an integer.
        {[] { return MSG_RPL::I::REPORT_STATUS("Fitter", 42, "00:01:02"); },
         "Status report: %1!s! is at %2!d!%% with elapsed time %3!s!./IRPL_REPORT_STATUS", 1,
         {"Fitter", "42", "00:01:02"}},
        {[] { return MSG_RPL::I::WRITE_REPORT_FILE("/out/report.txt"); },
         "Writing Report file %1!s!/IRPL_WRITE_REPORT_FILE", 2, {"/out/report.txt"}},
        {[] { return MSG_RPL::I::REPORT_FILE_NOT_OPENED("r.html"); },
         "Can't open Text-Format or HTML-Format Report File %1!s!/IRPL_REPORT_FILE_NOT_OPENED", 3, {"r.html"}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
        std::unique_ptr<MSG_I> msg(c.make());
        ASSERT_NE(msg, nullptr);
        EXPECT_EQ(msg->text(), c.text);
        EXPECT_EQ(msg->number(), c.number);
        EXPECT_EQ(msg->args(), c.args);
        EXPECT_TRUE(host_message_log().info_messages.empty()) << "the caller issues it, not the factory";
    }
}

TEST_F(Messages, DebugTracesAreFormattedAndReachTheHostUnderRpl) {
    std::unique_ptr<MSG_D> msg(MSG_RPL::DEBUG_MSG("type %d in %s, %5.1f%%", 12, "||R||T", 99.5));
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(msg->text(), "type 12 in ||R||T,  99.5%");
    EXPECT_EQ(msg->module(), "RPL");

    for (bool tracing : {false, true}) {
        host_clear_messages();
        host_set_message_echo(tracing, false);
        testing::internal::CaptureStderr();
        EXPECT_EQ(rpl_msg_debug("Unhandled RDB Object type: %d", -3), tracing) << "the host's answer comes back";
        testing::internal::GetCapturedStderr();
        ASSERT_EQ(host_message_log().debug_traces.size(), 1u);
        EXPECT_EQ(host_message_log().debug_traces[0].module, "RPL");
        EXPECT_EQ(host_message_log().debug_traces[0].text, "Unhandled RDB Object type: -3");
    }
    host_set_message_echo(false, false);
}

// Each broken invariant: what provokes it and shows the code went on, the
// condition and the file it names, and how many reports it makes.
TEST_F(Messages, InternalErrorsCarryConditionModuleFileAndLineThenGoOn) {
    std::vector<std::string> destroyed;
    RPL_FOLDER parent(to_rpl("P"));
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, to_rpl("r"));
    const struct {
        const char* what;
        std::function<void()> provoke_and_go_on;
        const char* condition;
        const char* file;
        std::size_t reports;
    } kCases[] = {
        {"add_child(null), before and after a child",
         [&] {
             parent.add_child(nullptr);
             EXPECT_EQ(parent.m_children, nullptr) << "no list is made for nothing";
             parent.add_child(new RPL_FOLDER(to_rpl("a")));
             parent.add_child(nullptr);
             ASSERT_EQ(parent.m_children->size(), 1u);
         },
         "child != NULL", "rpl_report_section.cpp", 2},
        {"section destroyed with a null child",
         [&] {
             auto* s = new LoggedSection("outer", &destroyed);
             s->add_child(new LoggedSection("before", &destroyed));
             s->m_children->push_back(nullptr);
             s->add_child(new LoggedSection("after", &destroyed));
             delete s;
             EXPECT_EQ(destroyed, (std::vector<std::string>{"outer", "before", "after"}));
         },
         "rs != NULL", "rpl_report_section.cpp", 1},
        {"clear_children with a null root",
         [&] {
             toc.m_children->push_back(nullptr);
             toc.m_children->push_back(new LoggedSection("root", &destroyed));
             toc.m_section_index.push_back(toc.m_children->back());
             toc.clear_children();
             EXPECT_EQ(destroyed, (std::vector<std::string>{"root"}));
             EXPECT_TRUE(toc.m_children->empty());
             EXPECT_TRUE(toc.m_section_index.empty());
         },
         "rs != NULL", "rpl_report_toc.cpp", 1},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        host_clear_messages();
        destroyed.clear();
        c.provoke_and_go_on();
        const auto& errors = host_message_log().internal_errors;
        ASSERT_EQ(errors.size(), c.reports);
        for (const HOST_INTERNAL_ERROR& e : errors) {
            EXPECT_EQ(e.condition, c.condition);
            EXPECT_EQ(e.module, "RPL");
            EXPECT_EQ(std::filesystem::path(e.file).filename().string(), c.file);
            EXPECT_NE(source_line(c.file, e.line).find(c.condition), std::string::npos)
                << "line " << e.line << " of " << e.file << " holds the check";
        }
    }
}
