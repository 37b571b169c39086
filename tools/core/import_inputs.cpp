#include "tools/core/import_inputs.h"

#include "tools/core/flow_files.h"
#include "tools/core/import_folder.h"
#include "tools/core/input_file.h"
#include "tools/core/report_json.h"

namespace rpl_toc {
namespace {

// The name a folder given as `path` goes by: its last component.
std::string folder_name(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    std::size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    return name.empty() || name == "." || name == ".." ? std::string("Reports") : name;
}

class Inputs {
public:
    explicit Inputs(Import& out) : m_out(out) {}

    void take(const std::string& input) {
        if (is_folder(input))
            take_folder(input);
        else
            take_file(input);
    }

    void build() {
        if (m_flow.empty())
            build_folders();
        else
            build_flow();
    }

private:
    Import& m_out;
    FlowInputs m_flow;
    std::vector<ReportJson> m_folders;
    std::string m_single_folder_name;

    void take_folder(const std::string& path) {
        m_single_folder_name = folder_name(path);
        FolderImport folder = import_folder(path, m_single_folder_name);
        m_out.notes.insert(m_out.notes.end(), folder.notes.begin(), folder.notes.end());
        if (!folder.ok()) m_out.error = folder.error;
        m_folders.push_back(std::move(folder.folder));
    }

    void take_file(const std::string& path) {
        FileRead read = read_input_file(path);
        if (!read.ok()) {
            m_out.error = path + ": " + read.error;
            return;
        }
        try {
            if (add_flow_file(m_flow, read.bytes) == FlowFile::not_recognised)
                m_out.error = path + ": " + not_recognised(read.bytes);
        } catch (const ImportError& e) {
            m_out.error = path + ": " + e.message();
        } catch (const std::exception& e) {  // out of memory, and any fault of the reading
            m_out.error = path + ": cannot be imported: " + e.what();
        }
    }

    static std::string not_recognised(const std::string& bytes) {
        if (looks_like_json(bytes))
            return "JSON that is neither Yosys's stat -json (no \"modules\" with \"design\") nor nextpnr's "
                   "--report (no \"utilization\", \"fmax\" or \"critical_paths\")";
        return "neither a Yosys log nor a nextpnr log (no Yosys banner or \"End of script.\", no \"Info:\" lines)";
    }

    void build_folders() {
        if (m_folders.size() == 1) {
            m_out.report = report_document(m_single_folder_name, kGenericReport, std::move(m_folders.front()));
            return;
        }
        ReportJson root = folder_object("Reports");
        for (ReportJson& folder : m_folders) add_child(root, std::move(folder));
        m_out.report = report_document("reports", kGenericReport, std::move(root));
    }

    void build_flow() {
        std::string top = flow_top_module(m_flow);
        ReportJson root = folder_object("Design Flow");
        for (ReportJson& section : flow_sections(m_flow)) add_child(root, std::move(section));
        for (ReportJson& folder : m_folders) add_child(root, std::move(folder));
        m_out.report = report_document(top.empty() ? "design_flow" : top, kCompilationReport, std::move(root));
    }
};

}  // namespace

Import import_inputs(const std::vector<std::string>& inputs) {
    Import out;
    Inputs reader(out);
    for (const std::string& input : inputs) {
        reader.take(input);
        if (!out.ok()) return out;
    }
    reader.build();
    return finish_import(std::move(out));
}

Import finish_import(Import import) {
    try {
        import.text = import.report.dump(2) + "\n";
    } catch (const std::exception& e) {  // as_text makes every text valid UTF-8, so this is a fault
        import.error = std::string("the imported report cannot be written as JSON: ") + e.what();
        return import;
    }
    if (import.text.size() > kMaxReportFileBytes) {
        import.error = std::string("the imported report would be larger than rpl-toc reads (") + kMaxReportFileSize + ")";
        return import;
    }
    ReportLoad load = load_report_json(import.text);
    if (!load.ok()) import.error = "the imported report does not load: " + load.error;
    return import;
}

}  // namespace rpl_toc
