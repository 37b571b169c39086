#include "tools/core/flow_logs.h"

#include <cctype>

namespace rpl_toc {
namespace {

bool starts_with(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

std::vector<std::string> log_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(std::move(line));
        start = end + 1;
    }
    return lines;
}

std::string trimmed(const std::string& text) {
    std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return std::string();
    std::size_t last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

bool is_digit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// " Yosys 0.23 (git sha1 7ce5011c24b)": the banner's version line.
std::optional<std::string> yosys_version(const std::string& line) {
    std::string text = trimmed(line);
    if (!starts_with(text, "Yosys ") || text.size() < 7 || !is_digit(text[6])) return std::nullopt;
    return text.substr(6);
}

// "2. Executing SYNTH_ICE40 pass.": a top-level step, not "2.1. ...".
bool is_top_level_step(const std::string& line) {
    std::size_t i = 0;
    while (i < line.size() && is_digit(line[i])) ++i;
    return i > 0 && line.compare(i, 2, ". ") == 0;
}

FlowLog read_yosys_log(const std::vector<std::string>& lines) {
    FlowLog log;
    log.tool = LogTool::yosys;
    for (const std::string& line : lines) {
        if (starts_with(line, "Warning: ")) {
            log.warnings.push_back(line);
        } else if (starts_with(line, "ERROR: ")) {
            log.errors.push_back(line);
        } else if (starts_with(line, "Top module:")) {
            std::string top = trimmed(line.substr(11));
            log.top = !top.empty() && top[0] == '\\' ? top.substr(1) : top;
        } else if (is_top_level_step(line) || starts_with(line, "End of script.")) {
            log.information.push_back(line);
        } else if (log.version.empty()) {
            if (auto version = yosys_version(line)) log.version = *version;
        }
    }
    return log;
}

// ---- nextpnr ------------------------------------------------------------------------

// The text after "Info:", or nullopt for another line.
std::optional<std::string> info_text(const std::string& line) {
    if (!starts_with(line, "Info:")) return std::nullopt;
    return line.substr(5);
}

// The digits of "* represents 2 endpoint(s)", at most 10 of them.
std::uint64_t per_star_of(const std::string& legend) {
    std::size_t at = legend.find("represents");
    std::uint64_t value = 0;
    int digits = 0;
    for (std::size_t i = at == std::string::npos ? legend.size() : at + 10; i < legend.size() && digits < 10; ++i) {
        if (is_digit(legend[i])) {
            value = value * 10 + std::uint64_t(legend[i] - '0');
            ++digits;
        } else if (digits > 0) {
            break;
        }
    }
    return value == 0 ? 1 : value;
}

// " [ 17262,  20510) |********+": a bar, or nullopt for another line.
std::optional<HistogramBar> histogram_bar(const std::string& text, std::uint64_t per_star) {
    std::string body = trimmed(text);
    std::size_t comma = body.find(',');
    std::size_t close = body.find(')');
    std::size_t bar = body.find('|');
    if (!starts_with(body, "[") || comma == std::string::npos || close == std::string::npos ||
        bar == std::string::npos || !(comma < close && close < bar))
        return std::nullopt;
    HistogramBar out;
    out.low = trimmed(body.substr(1, comma - 1));
    out.high = trimmed(body.substr(comma + 1, close - comma - 1));
    std::uint64_t stars = 0;
    for (std::size_t i = bar + 1; i < body.size(); ++i) {
        if (body[i] == '*') ++stars;
        if (body[i] == '+') out.partial = true;
    }
    out.endpoints = stars * per_star + (out.partial ? 1 : 0);
    return out;
}

// Progress of the placer ("at iteration #3 ...") and the router's table.
bool is_progress(const std::string& info) {
    std::string text = trimmed(info);
    return starts_with(text, "at ") || info.find('|') != std::string::npos;
}

class NextpnrReader {
public:
    FlowLog read(const std::vector<std::string>& lines) {
        m_log.tool = LogTool::nextpnr;
        for (const std::string& line : lines) take(line);
        if (m_block == Block::histogram) m_log.histogram = m_histogram;  // the log ends inside it
        return std::move(m_log);
    }

private:
    enum class Block { none, critical_path, histogram };
    FlowLog m_log;
    Block m_block = Block::none;
    SlackHistogram m_histogram;

    void take(const std::string& line) {
        std::optional<std::string> info = info_text(line);
        if (m_block == Block::critical_path) {
            if (info && !trimmed(*info).empty()) return;  // the report's lines, up to a blank one
            m_block = Block::none;
        }
        if (m_block == Block::histogram && info && in_histogram(*info)) return;
        if (m_block == Block::histogram) {
            m_log.histogram = m_histogram;
            m_block = Block::none;
        }
        if (starts_with(line, "Warning: ")) {
            m_log.warnings.push_back(line);
        } else if (starts_with(line, "ERROR: ")) {
            m_log.errors.push_back(line);
        } else if (info) {
            take_information(line, *info);
        }
    }

    void take_information(const std::string& line, const std::string& info) {
        std::string text = trimmed(info);
        if (starts_with(text, "Critical path report")) {
            m_block = Block::critical_path;
        } else if (starts_with(text, "Slack histogram")) {
            m_block = Block::histogram;
            m_histogram = SlackHistogram();
        } else if (!text.empty() && !is_progress(info)) {
            m_log.information.push_back(line);
        }
    }

    bool in_histogram(const std::string& info) {
        std::string text = trimmed(info);
        if (starts_with(text, "legend:")) {
            m_histogram.per_star = per_star_of(text);
            return true;
        }
        if (starts_with(text, "+ represents")) return true;
        std::optional<HistogramBar> bar = histogram_bar(info, m_histogram.per_star);
        if (!bar) return false;
        m_histogram.bars.push_back(*bar);
        return true;
    }
};

bool is_yosys_marker(const std::string& line) {
    return line.find("Yosys Open SYnthesis Suite") != std::string::npos || yosys_version(line).has_value() ||
           starts_with(line, "End of script.") || starts_with(line, "-- Running command") ||
           starts_with(line, "-- Executing script");
}

}  // namespace

std::optional<LogTool> recognise_log(const std::string& text) {
    bool nextpnr = false;
    for (const std::string& line : log_lines(text)) {
        if (is_yosys_marker(line)) return LogTool::yosys;
        if (starts_with(line, "Info: ")) nextpnr = true;
    }
    if (nextpnr) return LogTool::nextpnr;
    return std::nullopt;
}

FlowLog read_flow_log(const std::string& text, LogTool tool) {
    std::vector<std::string> lines = log_lines(text);
    if (tool == LogTool::yosys) return read_yosys_log(lines);
    return NextpnrReader().read(lines);
}

}  // namespace rpl_toc
