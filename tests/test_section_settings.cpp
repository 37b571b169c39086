// Every section's output mark and page orientation, and a chart's type, in
// the report's settings file: the stored encodings both ways, the loads and
// saves each operation makes, and the cases where nothing may be written.
#include "support/test_support.h"
#include "support/file_events.h"

#include <filesystem>
#include <memory>
#include <new>

using namespace rpltest;
namespace fs = std::filesystem;

namespace {

const char* const kPath = "||R||S";

class SectionSettings : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        toc_ = std::make_unique<RPL_REPORT_TOC>(RDB_REPORT_TIMING, "r");
        file_ = Std(toc_->get_settings_filename());
    }
    void TearDown() override {
        toc_.reset();
        HostTest::TearDown();
    }

    // A section of kind T at `path`, belonging to the live TOC.
    template <class T>
    std::unique_ptr<T> make(const std::string& path = kPath) {
        auto section = std::make_unique<T>(S("S"));
        section->m_rdb_path = S(path);
        section->m_toc = toc_.get();
        return section;
    }

    std::unique_ptr<RPL_REPORT_TOC> toc_;
    std::string file_;
};

}  // namespace

TEST_F(SectionSettings, ReadingDecodesTheStoredMarkAndOrientation) {
    // Without a file: the defaults, and nothing is created.
    auto fresh = make<RPL_FOLDER>();
    fresh->m_marked_for_output = false;
    fresh->m_page_orientation = 2;
    EXPECT_TRUE(fresh->read_acf_settings());
    EXPECT_TRUE(fresh->m_marked_for_output);
    EXPECT_EQ(fresh->m_page_orientation, 1);
    EXPECT_TRUE(fs::is_empty(db_->path()));

    struct CASE {
        const char* block;  // the section's block, or null for none
        bool marked;
        std::int32_t orientation;
    };
    const CASE cases[] = {
        {nullptr, true, 1}, {"", true, 1},
        {"OUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n", true, 2}, {"OUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n", false, 1},
        {"OUTPUT_SECTION=2\nPAGE_ORIENTATION=7\n", false, 1}, {"OUTPUT_SECTION=\nPAGE_ORIENTATION=\n", true, 1},
        {"OUTPUT_SECTION=-1\nPAGE_ORIENTATION=2\n", false, 1}, {"OUTPUT_SECTION= 1\nPAGE_ORIENTATION=1x\n", true, 2},
        {"OUTPUT_SECTION=yes\nPAGE_ORIENTATION=landscape\n", false, 1},
        {"output_section=0\npage_orientation=1\n", true, 1},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.block ? c.block : "(no block)");
        std::string file = "[||R||Other]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n";
        if (c.block) file += std::string("[") + kPath + "]\n" + c.block;
        write_file(file_, file);
        for (bool start_marked : {true, false}) {
            auto section = make<RPL_TEXT>();
            section->m_marked_for_output = start_marked;
            section->m_page_orientation = start_marked ? 2 : 1;
            EXPECT_TRUE(section->read_acf_settings());
            EXPECT_EQ(section->m_marked_for_output, c.marked);
            EXPECT_EQ(section->m_page_orientation, c.orientation);
            EXPECT_FALSE(section->m_settings_changed);
        }
        EXPECT_EQ(read_file(file_), file) << "reading writes nothing";
    }
}

TEST_F(SectionSettings, WritingEncodesTheMarkAndOrientation) {
    struct CASE {
        bool marked;
        std::int32_t orientation;
        const char* lines;
    };
    const CASE cases[] = {{true, 1, "OUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"},
                          {false, 2, "OUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n"},
                          {true, 0, "OUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n"},
                          {false, 3, "OUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n"}};
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.lines);
        write_file(file_, std::string("[") + kPath + "]\nOUTPUT_SECTION=7\nPAGE_ORIENTATION=7\nOTHER=x\n");
        auto section = make<RPL_TEXT>();
        section->m_marked_for_output = c.marked;
        section->m_page_orientation = c.orientation;
        section->m_settings_changed = true;
        section->write_acf_settings();
        EXPECT_EQ(read_file(file_), std::string("[") + kPath + "]\nOTHER=x\n" + c.lines);
        EXPECT_TRUE(section->m_settings_changed) << "never cleared";
    }
}

TEST_F(SectionSettings, ChartTypeIsDecodedAndOnlyZeroOrOneIsTaken) {
    struct CASE {
        const char* value;  // CHART_TYPE, or null for none
        std::int32_t chart_type;
        bool taken;
    };
    const CASE cases[] = {
        {nullptr, 1, true}, {"", 1, true}, {"0", 1, true},  {"1", 2, true},
        {"5", 9, false},    {"2", 9, false}, {"-1", 9, false}, {"x", 1, true},
    };
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.value ? c.value : "(absent)");
        std::string file = std::string("[") + kPath + "]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\n";
        if (c.value) file += std::string("CHART_TYPE=") + c.value + "\n";
        write_file(file_, file);
        auto chart = make<RPL_CHART>();
        chart->m_chart_type = 9;
        EXPECT_EQ(chart->read_acf_settings(), c.taken);
        EXPECT_EQ(chart->m_chart_type, c.chart_type);
        // The mark and orientation are read whatever the chart type holds.
        EXPECT_FALSE(chart->m_marked_for_output);
        EXPECT_EQ(chart->m_page_orientation, 2);
        EXPECT_EQ(read_file(file_), file);
    }
}

TEST_F(SectionSettings, ChartTypeIsEncodedAndAnUnknownOneWarnsAndStoresZero) {
    struct CASE {
        std::int32_t chart_type;
        const char* stored;
        bool warns;
    };
    const CASE cases[] = {{1, "0", false}, {2, "1", false}, {0, "0", true}, {7, "0", true}, {-2, "0", true}};
    for (const CASE& c : cases) {
        SCOPED_TRACE(c.chart_type);
        host_clear_messages();
        auto chart = make<RPL_CHART>();
        chart->m_chart_type = c.chart_type;
        chart->m_settings_changed = true;
        chart->write_acf_settings();
        EXPECT_EQ(read_file(file_), std::string("[") + kPath + "]\nCHART_TYPE=" + c.stored +
                                        "\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=0\n");
        EXPECT_EQ(debug_texts(), c.warns ? std::vector<std::string>{"Warning: Unknown chart type."}
                                         : std::vector<std::string>{});
        EXPECT_EQ(chart->m_chart_type, c.chart_type) << "writing keeps the field";
    }
}

TEST_F(SectionSettings, UnknownChartTypeWarnsOnlyWhenTheChartWouldWrite) {
    auto unchanged = make<RPL_CHART>();
    unchanged->m_chart_type = 0;
    unchanged->write_acf_settings();

    auto orphan = std::make_unique<RPL_CHART>(S("C"));
    orphan->m_rdb_path = kPath;
    orphan->m_settings_changed = true;
    orphan->write_acf_settings();

    EXPECT_TRUE(debug_texts().empty());
    EXPECT_TRUE(fs::is_empty(db_->path()));
}

TEST_F(SectionSettings, EachKindLoadsAndSavesTheFileAsOftenAsItsParts) {
    FileEvents events(file_);
    ASSERT_TRUE(events.ok());
    write_file(file_, "");
    // A chart and a table have a second part, with a load-save cycle of its own.
    std::unique_ptr<RPL_REPORT_SECTION> sections[] = {make<RPL_TEXT>(), make<RPL_FOLDER>(), make<RPL_CHART>(),
                                                      make<RPL_TABLE>()};
    const char* const reads[] = {"L", "L", "LL", "LL"};
    const char* const writes[] = {"LS", "LS", "LSLS", "LSLS"};
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        events.take();
        sections[i]->read_acf_settings();
        EXPECT_EQ(events.take().order, reads[i]);
        sections[i]->m_settings_changed = true;
        sections[i]->write_acf_settings();
        EXPECT_EQ(events.take().order, writes[i]);
    }
}

TEST_F(SectionSettings, UnchangedSectionWritesNothingWhateverItsFieldsHold) {
    // Not as the library writes it, so any save would show.
    const std::string file = "stray\n[||R||S]\nPAGE_ORIENTATION=0\nOUTPUT_SECTION=1\nCHART_TYPE=0\n";
    write_file(file_, file);
    FileEvents events(file_);
    std::unique_ptr<RPL_REPORT_SECTION> sections[] = {make<RPL_TEXT>(), make<RPL_CHART>(), make<RPL_TABLE>(),
                                                      make<RPL_FOLDER>()};
    for (auto& section : sections) {
        section->m_marked_for_output = false;
        section->m_page_orientation = 2;
        section->write_acf_settings();
        EXPECT_FALSE(section->m_settings_changed);
    }
    EXPECT_EQ(events.take().saves, 0);
    EXPECT_EQ(read_file(file_), file);
}

TEST_F(SectionSettings, SectionWithoutALiveTocTouchesNoFile) {
    const std::string file = "stray\n[||R||S]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=1\nCHART_TYPE=1\n";
    write_file(file_, file);
    FileEvents events(file_);
    // A TOC that has gone; its storage stays, so the pointer is only stale.
    alignas(RPL_REPORT_TOC) unsigned char storage[sizeof(RPL_REPORT_TOC)];
    RPL_REPORT_TOC* dead_pointer = new (storage) RPL_REPORT_TOC(RDB_REPORT_TIMING, "r");
    dead_pointer->~RPL_REPORT_TOC();

    for (RPL_REPORT_TOC* toc : {static_cast<RPL_REPORT_TOC*>(nullptr), dead_pointer}) {
        std::unique_ptr<RPL_REPORT_SECTION> sections[] = {std::make_unique<RPL_TEXT>(S("S")),
                                                          std::make_unique<RPL_CHART>(S("S")),
                                                          std::make_unique<RPL_TABLE>(S("S"))};
        for (auto& section : sections) {
            section->m_rdb_path = kPath;
            section->m_toc = toc;
            section->m_page_orientation = 1;
            EXPECT_FALSE(section->read_acf_settings());
            EXPECT_TRUE(section->m_marked_for_output) << "fields keep their values";
            EXPECT_EQ(section->m_page_orientation, 1);
            section->set_marked_for_output(false);
            section->write_acf_settings();
        }
        EXPECT_EQ(sections[1]->dynamic_cast_to_RPL_CHART()->m_chart_type, 0);
    }
    EXPECT_EQ(events.take().order, "") << "neither loaded nor saved";
    EXPECT_EQ(read_file(file_), file);
    EXPECT_EQ(std::distance(fs::directory_iterator(db_->path()), fs::directory_iterator()), 1);
    EXPECT_TRUE(debug_texts().empty());
}

TEST_F(SectionSettings, BlockIsNamedByTheExactFullRdbPath) {
    write_file(file_, "[R||S]\nOUTPUT_SECTION=0\n");
    auto upper = make<RPL_TEXT>("||R||S");
    auto lower = make<RPL_TEXT>("||R||s");
    EXPECT_TRUE(upper->read_acf_settings());
    EXPECT_TRUE(upper->m_marked_for_output) << "the short path's block is someone else's";
    lower->m_settings_changed = upper->m_settings_changed = true;
    lower->m_marked_for_output = false;
    upper->m_page_orientation = 2;
    lower->write_acf_settings();
    upper->write_acf_settings();
    EXPECT_EQ(read_file(file_),
              "[R||S]\nOUTPUT_SECTION=0\n"
              "[||R||S]\nOUTPUT_SECTION=1\nPAGE_ORIENTATION=1\n"
              "[||R||s]\nOUTPUT_SECTION=0\nPAGE_ORIENTATION=0\n");
}
