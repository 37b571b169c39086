// Marking sections and folders for output: the three-valued state of a
// subtree, marking a subtree and recomputing its ancestors, and every change
// written through to the settings file at once.
#include "support/test_support.h"
#include "support/file_events.h"

#include <memory>

using namespace rpltest;

namespace {

// A tree of sections without a TOC, from a description: "M" a marked
// section, "U" an unmarked one, "(a,b)" its child list, "()" an empty list.
std::unique_ptr<RPL_REPORT_SECTION> tree(const char*& p) {
    auto section = std::make_unique<RPL_FOLDER>(S("F"));
    section->m_marked_for_output = *p++ == 'M';
    if (*p != '(') return section;
    section->m_children = new RPL_SECTION_LIST();
    for (++p; *p != ')';) {
        section->add_child(tree(p).release());
        if (*p == ',') ++p;
    }
    ++p;
    return section;
}

std::unique_ptr<RPL_REPORT_SECTION> tree(const std::string& description) {
    const char* p = description.c_str();
    return tree(p);
}

// The file as the base settings write it (orientation 1 everywhere): one
// block for each of R, F, A, B, G, C whose letter in `marks` is 0 or 1,
// none where it is '-'.
std::string blocks(const std::string& marks) {
    const char* const paths[] = {"||R", "||R||F", "||R||F||A", "||R||F||B", "||R||G", "||R||G||C"};
    std::string out;
    for (int i = 0; i < 6; ++i)
        if (marks[i] != '-')
            out += std::string("[") + paths[i] + "]\nOUTPUT_SECTION=" + marks[i] + "\nPAGE_ORIENTATION=0\n";
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
        toc_ = std::make_unique<RPL_REPORT_TOC>(RDB_REPORT_TIMING, "r");
        toc_->generate_toc(true);
        file_ = Std(toc_->get_settings_filename());
    }
    void TearDown() override {
        toc_.reset();
        HostTest::TearDown();
    }

    RPL_REPORT_SECTION* at(const std::string& short_path) {
        RPL_REPORT_SECTION* section = toc_->section_exists(S("||" + short_path));
        EXPECT_NE(section, nullptr) << short_path;
        return section;
    }

    // The marks of R, F, A, B, G, C as a string of 0s and 1s.
    std::string marks() {
        std::string out;
        for (const char* path : {"R", "R||F", "R||F||A", "R||F||B", "R||G", "R||G||C"})
            out += at(path)->m_marked_for_output ? '1' : '0';
        return out;
    }

    std::unique_ptr<RPL_REPORT_TOC> toc_;
    std::string file_;
};

}  // namespace

TEST(MarkingState, SubtreeIsNoneSomeOrAllMarkedCountingTheSectionItself) {
    struct CASE {
        const char* tree;
        int state;
    };
    const CASE cases[] = {
        {"M", 2},         {"U", 0},         {"M()", 2},          {"U()", 0},          {"M(M,M)", 2},
        {"U(U,U)", 0},    {"M(U,U)", 1},    {"U(M)", 1},         {"M(M,U)", 1},       {"M(M(U))", 1},
        {"U(U(M))", 1},   {"M(M(M),M())", 2}, {"U(U,U(U()))", 0}, {"M(U,M,M)", 1},    {"U(M,U,U)", 1},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.tree);
        EXPECT_EQ(tree(c.tree)->get_num_marked_for_output(), c.state);
    }
}

TEST(MarkingState, UpdatingASectionWithAnEmptyChildListUnmarksIt) {
    auto section = tree("M()");
    section->update_marked_for_output();
    EXPECT_FALSE(section->m_marked_for_output);
    EXPECT_TRUE(section->m_settings_changed);

    auto leaf = tree("M");
    leaf->update_marked_for_output();
    EXPECT_TRUE(leaf->m_marked_for_output);
    EXPECT_FALSE(leaf->m_settings_changed) << "a section without a child list is not recomputed";
}

TEST_F(OutputMarking, MarkingSubtreesKeepsFoldersInLineAndWritesEachChange) {
    struct STEP {
        const char* section;
        bool marked;
        const char* marks;  // R F A B G C afterwards
        int root_state;
        const char* file;  // as for blocks()
    };
    const STEP steps[] = {
        {"R||F||A", false, "110111", 1, "110---"}, {"R||F||B", false, "100011", 1, "1000--"},
        {"R||G", false, "000000", 0, "000000"},    {"R||G||C", true, "100011", 1, "100011"},
        {"R||F||A", true, "111011", 1, "111011"},  {"R", true, "111111", 2, "111111"},
        {"R", false, "000000", 0, "000000"},
    };
    EXPECT_FALSE(file_exists(file_)) << "building writes nothing";
    for (const STEP& step : steps) {
        SCOPED_TRACE(std::string(step.section) + (step.marked ? " marked" : " unmarked"));
        at(step.section)->set_marked_for_output(step.marked);
        EXPECT_EQ(marks(), step.marks);
        EXPECT_EQ(at("R")->get_num_marked_for_output(), step.root_state);
        EXPECT_EQ(read_file(file_), blocks(step.file));
    }
}

TEST_F(OutputMarking, EveryChangeAndEveryRecomputationIsASave) {
    FileEvents events(file_);
    ASSERT_TRUE(events.ok());
    at("R||F||A")->set_marked_for_output(false);
    EXPECT_EQ(events.take().saves, 3) << "the leaf, then its folder and the root";

    // The whole tree: six sections set, and eight recomputations of folders
    // as each child's change climbs to the root.
    at("R")->set_marked_for_output(false);
    EXPECT_EQ(events.take().saves, 14);
}

TEST_F(OutputMarking, SettingOneSectionLeavesItsChildrenAndParentAlone) {
    at("R||F")->internal_set_marked_for_output(false);
    EXPECT_EQ(marks(), "101111");
    EXPECT_EQ(at("R||F")->get_num_marked_for_output(), 1);
    EXPECT_EQ(at("R")->get_num_marked_for_output(), 1);
    EXPECT_EQ(read_file(file_), blocks("-0----"));

    at("R||G||C")->internal_set_marked_for_output(false);
    EXPECT_EQ(marks(), "101110");
    EXPECT_EQ(at("R||G")->get_num_marked_for_output(), 1);
    EXPECT_EQ(read_file(file_), blocks("-0---0"));
}

TEST_F(OutputMarking, UpdatingALeafKeepsItsMarkAndStillRecomputesItsAncestors) {
    RPL_REPORT_SECTION* a = at("R||F||A");
    a->m_marked_for_output = false;  // changed in memory only
    a->update_marked_for_output();
    EXPECT_FALSE(a->m_marked_for_output);
    EXPECT_EQ(read_file(file_), blocks("11----"));

    at("R||F||B")->m_marked_for_output = false;
    at("R||F||A")->update_marked_for_output();
    EXPECT_EQ(marks(), "100011");
    EXPECT_EQ(read_file(file_), blocks("10----"));

    // A folder follows its children, not its own earlier mark.
    at("R||G||C")->m_marked_for_output = false;
    at("R||G")->update_marked_for_output();
    EXPECT_EQ(marks(), "000000");
    EXPECT_EQ(read_file(file_), blocks("00--0-"));
}

TEST_F(OutputMarking, FreshTreeMayHoldAFolderThatDisagreesWithItsChildren) {
    // Each section restores its own mark: a folder stored as marked whose
    // children are all stored as unmarked.
    write_file(file_, blocks("-----0"));
    toc_->generate_toc(true);
    EXPECT_EQ(marks(), "111110");
    EXPECT_EQ(at("R||G")->get_num_marked_for_output(), 1);
    write_file(file_, blocks("----0-"));
    toc_->generate_toc(true);
    EXPECT_EQ(marks(), "111101");
    EXPECT_EQ(at("R||G")->get_num_marked_for_output(), 1);
}

TEST_F(OutputMarking, MarkingWritesEachKindsOwnSettingsToo) {
    auto* root = new RDB_FOLDER_OBJECT("R");
    root->add(new RDB_TABLE_OBJECT("T", 2, 1));
    root->add(new RDB_CHART_TABLE_OBJECT("C", 2));
    install_report(RDB_REPORT_TIMING, root);
    toc_->generate_toc(true);
    RPL_TABLE* table = at("R||T")->dynamic_cast_to_RPL_TABLE();
    ASSERT_NE(table, nullptr);
    table->set_column_width(0, 50);
    table->set_column_width(1, 60);

    at("R")->set_marked_for_output(false);
    // The chart read no type from the absent file, so it holds type 1, not
    // the report's 2.
    EXPECT_EQ(read_file(file_),
              "[||R]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||R||C]\nCHART_TYPE=0\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"
              "[||R||T]\nCOLUMN_WIDTHS=50L,60L,\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
}
