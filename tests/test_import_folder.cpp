// A folder of report files as a report: tests/data/report_folder (quoting,
// empty cells, ragged rows, bytes that are not UTF-8, a byte-order mark),
// names and order kept, and the folders a walk must not follow or descend.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/test_support.h"
#include "tools/core/import_folder.h"
#include "tools/core/import_inputs.h"
#include "tools/core/report_json.h"

using rpl_toc::Import;
using rpl_toc::import_inputs;
using rpl_toc::ReportJson;

namespace {

const std::string kFolder = std::string(RPL_TEST_DATA_DIR) + "/report_folder";

std::vector<std::string> child_names(const ReportJson& folder) {
    std::vector<std::string> names;
    for (const ReportJson& child : folder["children"]) names.push_back(child["name"]);
    return names;
}

const ReportJson& child(const ReportJson& folder, const std::string& name) {
    for (const ReportJson& c : folder["children"])
        if (c["name"] == name) return c;
    throw std::runtime_error("no child " + name);
}

Import imported(const std::vector<std::string>& inputs) {
    Import import = import_inputs(inputs);
    EXPECT_TRUE(import.ok()) << import.error;
    EXPECT_TRUE(rpl_toc::load_report_json(import.text).ok());
    return import;
}

TEST(ImportFolder, AFolderIsAGenericReportNamedAfterIt) {
    Import import = imported({kFolder + "/"});
    EXPECT_EQ(import.report["name"], "report_folder");
    EXPECT_EQ(import.report["type"], 0);
    EXPECT_EQ(import.report["root"]["name"], "report_folder");
}

TEST(ImportFolder, EntriesComeByNameByteForByteWithTheirNames) {
    Import import = imported({kFolder});
    const ReportJson& root = import.report["root"];
    // Upper case before lower case, as the bytes compare; checksum.md5 is left out.
    EXPECT_EQ(child_names(root), (std::vector<std::string>{"Latin-1 Names.csv", "Logs", "Notes.txt", "Ragged Rows.csv",
                                                           "Summary.html", "Timing"}));
    EXPECT_EQ(child_names(child(root, "Logs")), std::vector<std::string>{"place.log"});
    EXPECT_EQ(import.notes,
              std::vector<std::string>{kFolder + "/Logs/checksum.md5: left out: not a .csv, .txt, .log, .html or .json file"});
}

struct Kind {
    std::string path;  // below the folder
    int type;
    bool html;
};

TEST(ImportFolder, EachKindOfFileBecomesItsKindOfSection) {
    Import import = imported({kFolder});
    const ReportJson& root = import.report["root"];
    for (const Kind& k : std::vector<Kind>{{"Notes.txt", 3, false}, {"Summary.html", 3, true}, {"Ragged Rows.csv", 14, false}}) {
        SCOPED_TRACE(k.path);
        EXPECT_EQ(child(root, k.path)["type"], k.type);
        if (k.type == 3) {
            EXPECT_EQ(child(root, k.path)["html"], k.html);
        }
    }
    EXPECT_EQ(child(root, "Notes.txt")["text"], rpltest::read_file(kFolder + "/Notes.txt"));
    // Stored as given: the renderer sanitises HTML when it draws it.
    EXPECT_EQ(child(root, "Summary.html")["text"], rpltest::read_file(kFolder + "/Summary.html"));
}

TEST(ImportFolder, CsvQuotingEmptyCellsRaggedRowsAndTheByteOrderMark) {
    Import import = imported({kFolder});
    const ReportJson& clocks = child(child(import.report["root"], "Timing"), "Clock Summary.csv");
    EXPECT_EQ(clocks["headings"], ReportJson::parse(R"j(["Clock", "Period (ns)", "Fmax (MHz)", "Source"])j"));
    EXPECT_EQ(clocks["cells"][0][3], "pll0/outcore, phase 0");
    EXPECT_EQ(clocks["cells"][1][3], "pll0 \"global\" output");
    EXPECT_EQ(clocks["cells"][2][3], "pin usb_clk\r\non bank 2");
    const ReportJson& ragged = child(import.report["root"], "Ragged Rows.csv");
    EXPECT_EQ(ragged["headings"][0], "Block");  // without the byte-order mark
    EXPECT_EQ(ragged["cells"], ReportJson::parse(R"([["cpu", "1200", "800", null], ["uart", null, "64"],
        ["dma", "310", "220", "spare", "extra cell"], [null, "0", "0", "quoted empty block name"]])"));
}

TEST(ImportFolder, BytesThatAreNotUtf8AreWrittenAsEscapes) {
    Import import = imported({kFolder});
    const ReportJson& names = child(import.report["root"], "Latin-1 Names.csv");
    EXPECT_EQ(names["cells"][0][0], "d\\xe9bit_total");
    EXPECT_EQ(names["cells"][2][0], "\\xff\\xfe");
}

TEST(ImportFolder, NamesKeepTheirBytesAsFarAsAReportCan) {
    rpltest::TempDir dir;
    rpltest::write_file(dir.file("caf\xc3\xa9.txt"), "UTF-8 name");
    rpltest::write_file(dir.file("caf\xe9.txt"), "Latin-1 name");
    rpltest::write_file(dir.file("two\nlines.txt"), "a line feed in the name");
    rpltest::write_file(dir.file("a|b.txt"), "bars");
    Import import = imported({dir.path()});
    EXPECT_EQ(child_names(import.report["root"]),
              (std::vector<std::string>{"a|b.txt", "caf\xc3\xa9.txt", "caf\\xe9.txt", "two\\x0alines.txt"}));
}

TEST(ImportFolder, LinksToFoldersAreNotFollowedAndDeepFoldersStop) {
    rpltest::TempDir dir;
    ASSERT_EQ(::symlink(".", dir.file("loop").c_str()), 0);
    std::string deep = dir.path();
    for (int i = 0; i <= rpl_toc::kMaxFolderDepth + 1; ++i) {
        deep += "/d";
        ASSERT_EQ(::mkdir(deep.c_str(), 0755), 0);
    }
    rpltest::write_file(deep + "/bottom.txt", "too deep");
    Import import = imported({dir.path()});
    ASSERT_EQ(import.notes.size(), 2u);
    EXPECT_EQ(import.notes[0].find(": left out: deeper than 64 folders") != std::string::npos, true) << import.notes[0];
    EXPECT_EQ(import.notes[1], dir.file("loop") + ": left out: a link to a folder is not followed");
}

TEST(ImportFolder, AFifoIsLeftOutWithoutWaitingForAWriter) {
    rpltest::TempDir dir;
    ASSERT_EQ(::mkfifo(dir.file("pipe.txt").c_str(), 0644), 0);
    Import import = imported({dir.path()});
    EXPECT_EQ(import.notes, std::vector<std::string>{dir.file("pipe.txt") + ": left out: not a regular file or a folder"});
}

TEST(ImportFolder, FlowFilesInAFolderAreImportedAsAFlow) {
    rpltest::TempDir dir;
    rpltest::write_file(dir.file("report.json"), rpltest::read_file(std::string(RPL_FLOW_OUTPUTS_DIR) + "/report.json"));
    rpltest::write_file(dir.file("package.json"), R"({"name": "not a flow file"})");
    rpltest::write_file(dir.file("broken.json"), "{");
    Import import = imported({dir.path()});
    const ReportJson& flow = child(import.report["root"], "report.json");
    EXPECT_EQ(child_names(flow), (std::vector<std::string>{"Flow Summary", "Resources", "Timing"}));
    EXPECT_EQ(import.notes.size(), 2u);
    // A flow file with a mistyped field is an error, as when it is named.
    rpltest::write_file(dir.file("report.json"), R"({"fmax": {"clk": {"achieved": "x"}}})");
    EXPECT_EQ(import_inputs({dir.path()}).error,
              dir.file("report.json") + ": /fmax/clk/achieved: expected a number, found a string");
}

TEST(ImportFolder, FilesAndFoldersTogetherMakeAFlowWithTheFoldersAfterIt) {
    Import import = imported({std::string(RPL_FLOW_OUTPUTS_DIR) + "/report.json", kFolder});
    EXPECT_EQ(import.report["type"], 1);
    std::vector<std::string> names = child_names(import.report["root"]);
    EXPECT_EQ(names.back(), "report_folder");
}

}  // namespace
