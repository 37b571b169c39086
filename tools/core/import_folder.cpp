#include "tools/core/import_folder.h"

#include <algorithm>
#include <cctype>

#include "tools/core/csv_reader.h"
#include "tools/core/flow_files.h"
#include "tools/core/input_file.h"

namespace rpl_toc {
namespace {

// The file name's extension in lower case, without the dot: "csv".
std::string extension(const std::string& name) {
    std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return std::string();
    std::string ext = name.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

ReportJson flow_file_folder(const std::string& path, const std::string& name, const std::string& bytes,
                            std::vector<std::string>& notes) {
    FlowInputs flow;
    if (add_flow_file(flow, bytes) == FlowFile::not_recognised) {
        notes.push_back(path + ": left out: JSON that is neither a Yosys stat nor a nextpnr report");
        return ReportJson();
    }
    ReportJson folder = folder_object(name);
    for (ReportJson& section : flow_sections(flow)) add_child(folder, std::move(section));
    return folder;
}

class FolderWalk {
public:
    explicit FolderWalk(FolderImport& out) : m_out(out) {}

    ReportJson folder(const std::string& path, const std::string& name, int depth) {
        ReportJson folder = folder_object(name);
        FolderList list = list_folder(path);
        if (!list.error.empty()) m_out.notes.push_back(path + ": its entries cannot be read: " + list.error);
        for (const FolderEntry& entry : list.entries) {
            ReportJson section = section_of(path + "/" + entry.name, entry, depth);
            if (!m_out.ok()) break;
            if (!section.is_null()) add_child(folder, std::move(section));
        }
        return folder;
    }

private:
    FolderImport& m_out;

    ReportJson section_of(const std::string& path, const FolderEntry& entry, int depth) {
        switch (entry.kind) {
            case EntryKind::folder:
                if (depth < kMaxFolderDepth) return folder(path, entry.name, depth + 1);
                m_out.notes.push_back(path + ": left out: deeper than " + std::to_string(kMaxFolderDepth) +
                                      " folders");
                return ReportJson();
            case EntryKind::link_to_folder:
                m_out.notes.push_back(path + ": left out: a link to a folder is not followed");
                return ReportJson();
            case EntryKind::file: return file(path, entry.name);
            case EntryKind::other: break;
        }
        m_out.notes.push_back(path + ": left out: not a regular file or a folder");
        return ReportJson();
    }

    ReportJson file(const std::string& path, const std::string& name) {
        std::string ext = extension(name);
        if (ext != "csv" && ext != "txt" && ext != "log" && ext != "html" && ext != "htm" && ext != "json") {
            m_out.notes.push_back(path + ": left out: not a .csv, .txt, .log, .html or .json file");
            return ReportJson();
        }
        FileRead read = read_input_file(path);
        if (!read.ok()) {
            m_out.notes.push_back(path + ": left out: " + read.error);
            return ReportJson();
        }
        try {
            return file_section(path, name, read.bytes, m_out.notes);
        } catch (const ImportError& e) {
            m_out.error = path + ": " + e.message();
        } catch (const std::exception& e) {  // out of memory, and any fault of the reading
            m_out.error = path + ": cannot be imported: " + e.what();
        }
        return ReportJson();
    }
};

}  // namespace

ReportJson csv_table(const std::string& name, const std::string& bytes) {
    std::vector<CsvRecord> records = read_csv(bytes);
    std::vector<std::string> headings = records.empty() ? std::vector<std::string>() : records.front();
    std::vector<Cells> rows;
    for (std::size_t r = 1; r < records.size(); ++r) {
        Cells row;
        for (const std::string& field : records[r]) row.push_back(field.empty() ? ReportJson() : text_cell(field));
        rows.push_back(std::move(row));
    }
    return table_object(name, headings, rows);
}

ReportJson file_section(const std::string& path, const std::string& name, const std::string& bytes,
                        std::vector<std::string>& notes) {
    std::string ext = extension(name);
    if (ext == "csv") return csv_table(name, bytes);
    if (ext == "txt" || ext == "log") return text_object(name, bytes, false);
    if (ext == "html" || ext == "htm") return text_object(name, bytes, true);
    if (ext == "json") {
        if (!looks_like_json(bytes)) {
            notes.push_back(path + ": left out: not JSON");
            return ReportJson();
        }
        try {
            return flow_file_folder(path, name, bytes, notes);
        } catch (const ImportError& e) {
            if (e.what.rfind("invalid JSON", 0) != 0 && e.what.rfind("nesting too deep", 0) != 0) throw;
            notes.push_back(path + ": left out: " + e.message());  // JSON that claims nothing
            return ReportJson();
        }
    }
    notes.push_back(path + ": left out: not a .csv, .txt, .log, .html or .json file");
    return ReportJson();
}

FolderImport import_folder(const std::string& path, const std::string& name) {
    FolderImport out;
    out.folder = FolderWalk(out).folder(path, name, 0);
    return out;
}

}  // namespace rpl_toc
