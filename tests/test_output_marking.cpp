// Marking sections and folders for output: the three-valued state of a
// subtree, marking a subtree and recomputing its ancestors, and every change
// written through to the settings file at once.
#include "support/test_support.h"
#include "support/file_events.h"

using namespace rpltest;

namespace {

const char* const kPaths[] = {"R", "R||F", "R||F||A", "R||F||B", "R||G", "R||G||C"};

// The file as the base settings write it (orientation 1 everywhere): one
// block for each of R, F, A, B, G, C whose letter in `marks` is 0 or 1,
// none where it is '-'.
std::string blocks(const std::string& marks) {
    std::string out;
    for (int i = 0; i < 6; ++i)
        if (marks[i] != '-')
            out += std::string("[||") + kPaths[i] + "]\nOUTPUT_SECTION=" + marks[i] + "\nPAGE_ORIENTATION=0\n";
    return out;
}

// R { F { A, B }, G { C } }, all texts below the folders.
class OutputMarking : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        auto* root = new RDB_FOLDER_OBJECT("R");
        auto* f = root->add(new RDB_FOLDER_OBJECT("F"));
        f->add(new RDB_TEXT_OBJECT("A", false));
        f->add(new RDB_TEXT_OBJECT("B", false));
        root->add(new RDB_FOLDER_OBJECT("G"))->add(new RDB_TEXT_OBJECT("C", false));
        install_report(RDB_REPORT_TIMING, root);
        toc_.generate_toc(true);
        file_ = to_std(toc_.get_settings_filename());
    }

    RPL_REPORT_SECTION* at(const std::string& short_path) {
        RPL_REPORT_SECTION* section = toc_.section_exists(to_rpl("||" + short_path));
        EXPECT_NE(section, nullptr) << short_path;
        return section;
    }

    // The marks, or the subtree states, of R, F, A, B, G, C as digits.
    std::string marks() {
        std::string out;
        for (const char* path : kPaths) out += at(path)->m_marked_for_output ? '1' : '0';
        return out;
    }
    std::string states() {
        std::string out;
        for (const char* path : kPaths) out += static_cast<char>('0' + at(path)->get_num_marked_for_output());
        return out;
    }

    RPL_REPORT_TOC toc_{RDB_REPORT_TIMING, "r"};
    std::string file_;
};

}  // namespace

TEST_F(OutputMarking, MarkingSubtreesKeepsFoldersInLineAndWritesEachChange) {
    const struct {
        const char* section;
        bool marked;
        const char* marks;   // R F A B G C afterwards
        const char* states;  // their get_num_marked_for_output
        const char* file;    // as for blocks()
        int saves;           // one per section set and one per recomputation
    } kSteps[] = {
        {"R||F||A", false, "110111", "110222", "110---", 3},  // F stays marked for B
        {"R||F||B", false, "100011", "100022", "1000--", 3},  // F's last marked child: F unmarked, R kept for G
        {"R||G", false, "000000", "000000", "000000", 5},     // no marked child left: R unmarked
        {"R||F||A", true, "111000", "112000", "111000", 3},   // one of two unmarked leaves: F and R marked
        {"R", false, "000000", "000000", "000000", 14},       // each child's change climbs to the root
        {"R", true, "111111", "222222", "111111", 14},
    };
    EXPECT_FALSE(file_exists(file_)) << "building writes nothing";
    FileEvents events(file_);
    ASSERT_TRUE(events.ok());
    for (const auto& step : kSteps) {
        SCOPED_TRACE(std::string(step.section) + (step.marked ? " marked" : " unmarked"));
        at(step.section)->set_marked_for_output(step.marked);
        EXPECT_EQ(events.take().saves, step.saves);
        EXPECT_EQ(marks(), step.marks);
        EXPECT_EQ(states(), step.states);
        EXPECT_EQ(read_file(file_), blocks(step.file));
    }
}

TEST_F(OutputMarking, SettingOneSectionLeavesItsChildrenAndParentAlone) {
    at("R||F")->internal_set_marked_for_output(false);
    EXPECT_EQ(marks(), "101111");
    EXPECT_EQ(states(), "112222");
    EXPECT_EQ(read_file(file_), blocks("-0----"));
}

TEST_F(OutputMarking, UpdatingALeafKeepsItsMarkAndStillRecomputesItsAncestors) {
    // Changed in memory only: recomputing A as a folder would unmark it.
    at("R||F")->m_marked_for_output = false;
    at("R||F||B")->m_marked_for_output = false;
    at("R||F||A")->update_marked_for_output();
    EXPECT_EQ(marks(), "111011");
    EXPECT_EQ(read_file(file_), blocks("11----")) << "F and R written, A not";
}

TEST_F(OutputMarking, FreshTreeMayHoldAFolderThatDisagreesWithItsChildren) {
    // Each section restores its own mark: G marked, its only child C not.
    write_file(file_, blocks("-----0"));
    toc_.generate_toc(true);
    EXPECT_EQ(marks(), "111110");
    EXPECT_EQ(states(), "122210");
}
