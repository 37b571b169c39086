// Every section's output mark and page orientation, and a chart's type, in
// the report's settings file: the stored encodings both ways, the loads and
// saves each operation makes, and the cases where nothing may be written.
#include "support/test_support.h"
#include "support/file_events.h"

#include <memory>
#include <new>

using namespace rpltest;

namespace {

const std::string kPath = "||Report||Timing||Slack";
const std::string kHeader = "[" + kPath + "]\n";
// Blocks of the short rdb path and of the path in other letter case: other
// sections', holding other values than the defaults.
const std::string kShortBlock = "[Report||Timing||Slack]\nCHART_TYPE=1\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n";
const std::string kCaseBlock = "[||Report||Timing||slack]\nCHART_TYPE=1\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n";

class SectionSettings : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        file_ = to_std(toc_.get_settings_filename());
    }

    // A section of kind T at `path`, belonging to the live TOC.
    template <class T>
    std::unique_ptr<T> make(const std::string& path = kPath) {
        auto section = std::make_unique<T>(to_rpl("S"));
        section->m_rdb_path = to_rpl(path);
        section->m_toc = &toc_;
        return section;
    }

    RPL_REPORT_TOC toc_{RDB_REPORT_TIMING, "r"};
    std::string file_;
};

}  // namespace

TEST_F(SectionSettings, ReadingDecodesMarkOrientationAndChartTypeAndWritesNothing) {
    // Each chart starts with the opposite mark and orientation, and type 9
    // as if the report had proposed it.
    const struct {
        const char* block;  // the section's block, or null for none
        bool marked;
        std::int32_t orientation;
        std::int32_t chart_type;
        bool taken;  // the chart's result: a type was taken from the file
    } kCases[] = {
        {nullptr, true, 1, 1, true},
        {"CHART_TYPE=0\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n", true, 2, 1, true},
        {"CHART_TYPE=1\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n", false, 1, 2, true},
        {"CHART_TYPE=5\nOUTPUT_SECTION=2\nPAGE_ORIENTATION=7\n", false, 1, 9, false},
        {"CHART_TYPE=\nOUTPUT_SECTION=\nPAGE_ORIENTATION=\n", true, 1, 1, true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.block ? c.block : "(no block)");
        const std::string file = kShortBlock + (c.block ? kHeader + c.block : "") + kCaseBlock;
        write_file(file_, file);
        FileEvents events(file_);
        auto chart = make<RPL_CHART>();
        chart->m_marked_for_output = !c.marked;
        chart->m_page_orientation = 3 - c.orientation;
        chart->m_chart_type = 9;
        EXPECT_EQ(chart->read_acf_settings(), c.taken);
        EXPECT_EQ(events.take().order, "LL") << "the base part and the chart's part each load";
        EXPECT_EQ(chart->m_marked_for_output, c.marked);
        EXPECT_EQ(chart->m_page_orientation, c.orientation);
        EXPECT_EQ(chart->m_chart_type, c.chart_type);
        EXPECT_TRUE(make<RPL_TEXT>()->read_acf_settings());
        EXPECT_EQ(read_file(file_), file);
    }
}

TEST_F(SectionSettings, WritingEncodesMarkOrientationAndChartTypeAndWarnsOfAnUnknownType) {
    // The first row is a marked landscape chart of type 2, the documented example.
    const struct {
        bool marked;
        std::int32_t orientation;
        std::int32_t chart_type;
        const char* lines;
        bool warns;
    } kCases[] = {
        {true, 2, 2, "CHART_TYPE=1\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n", false},
        {false, 1, 1, "CHART_TYPE=0\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n", false},
        {true, 3, 0, "CHART_TYPE=0\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n", true},
        {false, 2, 7, "CHART_TYPE=0\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n", true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.lines);
        host_clear_messages();
        write_file(file_, kShortBlock + kHeader + "CHART_TYPE=7\nOUTPUT_SECTION=7\nPAGE_ORIENTATION=7\n" + kCaseBlock);
        auto chart = make<RPL_CHART>();
        chart->m_marked_for_output = c.marked;
        chart->m_page_orientation = c.orientation;
        chart->m_chart_type = c.chart_type;
        chart->m_settings_changed = true;
        FileEvents events(file_);
        chart->write_acf_settings();
        EXPECT_EQ(events.take().order, "LSLS") << "a load-change-save cycle for each part";
        EXPECT_EQ(read_file(file_), kShortBlock + kHeader + c.lines + kCaseBlock);
        EXPECT_EQ(debug_texts(), c.warns ? std::vector<std::string>{"Warning: Unknown chart type."}
                                         : std::vector<std::string>{});
    }
}

TEST_F(SectionSettings, UnchangedSectionOrOneWithoutALiveTocTouchesNoFile) {
    // Not as the library writes it, so any save would show.
    const std::string file = "stray\n" + kHeader + "PAGE_ORIENTATION=0\nOUTPUT_SECTION=1\nCHART_TYPE=0\n";
    write_file(file_, file);
    FileEvents events(file_);
    // A TOC that has gone; its storage stays, so the pointer is only stale.
    alignas(RPL_REPORT_TOC) unsigned char storage[sizeof(RPL_REPORT_TOC)];
    RPL_REPORT_TOC* dead_pointer = new (storage) RPL_REPORT_TOC(RDB_REPORT_TIMING, "r");
    dead_pointer->~RPL_REPORT_TOC();

    // Every chart holds type 0, so a chart that went on to write would warn.
    for (RPL_REPORT_TOC* toc : {&toc_, static_cast<RPL_REPORT_TOC*>(nullptr), dead_pointer}) {
        std::unique_ptr<RPL_REPORT_SECTION> sections[] = {make<RPL_TEXT>(), make<RPL_CHART>(), make<RPL_TABLE>()};
        for (auto& section : sections) {
            section->m_toc = toc;
            section->m_marked_for_output = false;
            section->m_page_orientation = 2;
            if (toc != &toc_) {  // the live TOC's sections stay unchanged
                EXPECT_FALSE(section->read_acf_settings());
                EXPECT_FALSE(section->m_marked_for_output) << "fields keep their values";
                section->m_settings_changed = true;
            }
            section->write_acf_settings();
        }
    }
    EXPECT_EQ(events.take().order, "") << "neither loaded nor saved";
    EXPECT_EQ(read_file(file_), file);
    EXPECT_TRUE(debug_texts().empty());
}
