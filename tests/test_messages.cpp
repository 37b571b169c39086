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
        const char* identifier;
        unsigned long number;
        std::vector<std::string> args;
        const char* formatted;
    };
    const char* status = "Status report: %1!s! is at %2!d!%% with elapsed time %3!s!./IRPL_REPORT_STATUS";
    const std::vector<CASE> cases = {
        {[] { return MSG_RPL::I::REPORT_STATUS("Fitter", 42, "00:01:02"); }, status, "IRPL_REPORT_STATUS", 1,
         {"Fitter", "42", "00:01:02"}, "Status report: Fitter is at 42% with elapsed time 00:01:02."},
        // A file name with its own "/" stays an argument and never splits the text.
        {[] { return MSG_RPL::I::WRITE_REPORT_FILE("/out/report.txt"); },
         "Writing Report file %1!s!/IRPL_WRITE_REPORT_FILE", "IRPL_WRITE_REPORT_FILE", 2, {"/out/report.txt"},
         "Writing Report file /out/report.txt"},
        {[] { return MSG_RPL::I::REPORT_FILE_NOT_OPENED("r.html"); },
         "Can't open Text-Format or HTML-Format Report File %1!s!/IRPL_REPORT_FILE_NOT_OPENED",
         "IRPL_REPORT_FILE_NOT_OPENED", 3, {"r.html"}, "Can't open Text-Format or HTML-Format Report File r.html"},
    };
    for (const CASE& c : cases) {
        std::unique_ptr<MSG_I> msg(c.make());
        ASSERT_NE(msg, nullptr);
        EXPECT_FALSE(msg->is_debug());
        EXPECT_EQ(msg->text(), c.text);
        EXPECT_EQ(msg->identifier(), c.identifier);
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

TEST_F(Messages, DebugTracesAreFormattedAndReachTheHostUnderRpl) {
    std::unique_ptr<MSG_D> msg(MSG_RPL::DEBUG_MSG("type %d in %s, %5.1f%%", 12, "||R||T", 99.5));
    ASSERT_NE(msg, nullptr);
    EXPECT_TRUE(msg->is_debug());
    EXPECT_EQ(msg->text(), "type 12 in ||R||T,  99.5%");
    EXPECT_EQ(msg->module(), "RPL");
    EXPECT_TRUE(host_message_log().debug_traces.empty()) << "the caller issues it, not the factory";
    msg->issue();
    EXPECT_EQ(debug_texts(), std::vector<std::string>{"type 12 in ||R||T,  99.5%"});

    for (bool tracing : {false, true}) {
        host_set_message_echo(tracing, false);
        host_clear_messages();
        testing::internal::CaptureStderr();
        EXPECT_EQ(rpl_msg_debug("Unhandled RDB Object type: %d", -3), tracing) << "the host's answer comes back";
        testing::internal::GetCapturedStderr();
        ASSERT_EQ(host_message_log().debug_traces.size(), 1u);
        EXPECT_EQ(host_message_log().debug_traces[0].module, "RPL");
        EXPECT_EQ(host_message_log().debug_traces[0].text, "Unhandled RDB Object type: -3");
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
        std::size_t reports;  // one per broken invariant
    };
    RPL_FOLDER parent(S("P"));
    RPL_REPORT_TOC toc(RDB_REPORT_TIMING, S("r"));
    RPL_REPORT_TOC* doomed = nullptr;
    const std::vector<CASE> cases = {
        {"add_child(null) twice",
         [&](std::vector<std::string>&) {
             parent.add_child(nullptr);  // no list is made for nothing
             EXPECT_EQ(parent.m_children, nullptr);
             parent.add_child(new RPL_FOLDER(S("a")));
             parent.add_child(nullptr);
             parent.add_child(new RPL_FOLDER(S("b")));
         },
         [&](const std::vector<std::string>&) {
             ASSERT_EQ(parent.m_children->size(), 2u);
             EXPECT_EQ(Std(parent.m_children->back()->m_name), "b");
         },
         "child != NULL", "rpl_report_section", 2},
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
         "rs != NULL", "rpl_report_section", 1},
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
         "rs != NULL", "rpl_report_toc", 1},
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
         "m_children != NULL", "rpl_report_toc", 2},  // once emptying it, once releasing it
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.what);
        host_clear_messages();
        std::vector<std::string> destroyed;
        c.provoke(destroyed);
        const auto& errors = host_message_log().internal_errors;
        ASSERT_EQ(errors.size(), c.reports);
        EXPECT_TRUE(host_message_log().debug_traces.empty()) << "an internal error is not a trace";
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
