// rpl-toc: a command-line host for the report-presentation library. It
// loads a report from a JSON file into the stand-in report database, builds
// the table of contents and lets a person or a script look at it, step
// through it, mark sections, change layout settings and write a report file.
#include <langinfo.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/host.h"
#include "tools/cli/commands.h"
#include "tools/cli/import_command.h"
#include "tools/cli/refusal_text.h"
#include "tools/cli/status_line.h"
#include "tools/core/progress_words.h"
#include "tools/core/settings_rules.h"
#include "tools/view/view_server.h"

namespace {

using namespace rpl_toc;

const char* const kDescription =
    "rpl-toc: the table of contents of a report, built by the report-presentation library.\n"
    "REPORT is a report file (JSON), or - for standard input; PATH is a section's rdb path, \"||\"\n"
    "and the names from the main folder down, e.g. '||Design Flow||Timing||Setup Slack'. Layout\n"
    "choices are kept in the report's settings file in the database directory: --db-dir DIR, by\n"
    "default the directory of the report file, or the current directory when REPORT is - or not\n"
    "a regular file. list, next and prev print paths as they are when standard output is not a\n"
    "terminal, so that a script can give them back; on a terminal, as shell words that paste back.\n"
    "import makes a report file of what Yosys and nextpnr wrote, or of a folder of .csv, .txt,\n"
    ".log and .html files (docs/import.md).";

const char* const kFooter =
    "Exit codes: 0 success; 1 nothing found: no section with PATH (find), none after or before\n"
    "it (next, prev); 2 bad usage, an unreadable or invalid report file, an unknown PATH for\n"
    "next, prev, mark, unmark or set, a refused option of set, a change that was not saved to\n"
    "the settings file, a report file that cannot be written, an input of import that cannot be\n"
    "read or is not what it claims to be; 3 an unexpected failure of the tool.";

const char* const kCommandFooter =
    "Global options, before or after the command: --db-dir DIR, --json, --ascii, --debug\n"
    "(see rpl-toc --help).";

// Everything the command line can set.
struct CommandLine {
    std::string db_dir;
    bool json = false;
    bool debug = false;
    bool ascii = false;
    std::string report;
    std::string path;
    std::vector<std::string> paths;
    bool show_paths = false;
    bool list_all = false;
    bool list_null = false;
    bool raw = false;
    SetOptions set;
    std::string text_file;
    std::string html_file;
    int port = 0;
    bool no_open = false;
    std::vector<std::string> inputs;
    std::string import_output;
};

using Runner = std::function<int(Session&, const Output&)>;
using Commands = std::map<const CLI::App*, Runner>;

void add_report(CLI::App* command, CommandLine& cl) {
    command->add_option("REPORT", cl.report, "the report file (JSON); - reads standard input")->required();
}

CLI::App* add_command(CLI::App& app, const char* name, const char* help, CommandLine& cl) {
    CLI::App* command = app.add_subcommand(name, help);
    command->footer(kCommandFooter);
    add_report(command, cl);
    return command;
}

void define_views(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* show = add_command(app, "show", "print the TOC as a tree", cl);
    show->add_flag("--paths", cl.show_paths, "print each section's rdb path instead of its name");
    commands[show] = [&cl](Session& s, const Output& o) { return run_show(s, o, cl.show_paths); };

    CLI::App* list = add_command(app, "list", "print every section's path in index order, one per line", cl);
    list->add_flag("--all", cl.list_all, "folders too");
    list->add_flag("-z,-0,--null", cl.list_null,
                   "end each path with a NUL byte instead of a line feed, printed as it is (for xargs -0)");
    commands[list] = [&cl](Session& s, const Output& o) { return run_list(s, o, cl.list_all, cl.list_null); };
}

void define_lookup(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* find = add_command(app, "find", "print the section with that path (exit 1 and a note: none)", cl);
    find->add_option("PATH", cl.path, "rdb path")->required();
    commands[find] = [&cl](Session& s, const Output& o) { return run_find(s, o, cl.path); };
    for (bool forward : {true, false}) {
        CLI::App* step = add_command(app, forward ? "next" : "prev",
                                     forward ? "print the path of the next section that is not a folder (exit 1: none)"
                                             : "print the path of the previous section that is not a folder (exit 1: none)",
                                     cl);
        step->add_option("PATH", cl.path, "rdb path to step from")->required();
        commands[step] = [&cl, forward](Session& s, const Output& o) { return run_step(s, o, cl.path, forward); };
    }
}

void define_marking(CLI::App& app, CommandLine& cl, Commands& commands) {
    for (bool marked : {true, false}) {
        CLI::App* mark = add_command(app, marked ? "mark" : "unmark",
                                     marked ? "mark sections and everything below them for output"
                                            : "unmark sections and everything below them",
                                     cl);
        mark->add_option("PATH", cl.paths, "rdb paths, applied in the order given")->required();
        commands[mark] = [&cl, marked](Session& s, const Output& o) { return run_mark(s, o, cl.paths, marked); };
    }
}

void define_set(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* set = add_command(app, "set", "change a section's layout settings and save them", cl);
    set->add_option("PATH", cl.path, "the section to change")->required();
    // CLI11 only hands over the texts: the tool checks and words every value.
    set->add_option("--orientation", cl.set.orientation, "page orientation: 1 portrait, 2 landscape")->type_name("1|2");
    set->add_option("--chart-type", cl.set.chart_type, "chart type (charts only): 1 bar, 2 line")->type_name("1|2");
    // One value per option, so that a value cannot swallow the next argument.
    set->add_option("--width", cl.set.widths, "width W of column I, 0 to " + std::to_string(kMaxColumnWidth) + " (tables only)")
        ->type_name("I=W")->allow_extra_args(false);
    set->add_option("--align", cl.set.aligns, "alignment of column I, L or R (tables only)")
        ->type_name("I=L|R")->allow_extra_args(false);
    set->add_option("--order", cl.set.orders, "display column D of column I, 0 to n-1, each once (tables only)")
        ->type_name("I=D")->allow_extra_args(false);
    set->callback([&cl, set] {  // a usage error, found before the report is read
        cl.set.has_orientation = set->count("--orientation") > 0;
        cl.set.has_chart_type = set->count("--chart-type") > 0;
        if (settings_change(cl.set).names_nothing())
            throw CLI::ValidationError(refusal_text(Refusal{Refused::nothing_to_change}));
    });
    commands[set] = [&cl](Session& s, const Output& o) { return run_set(s, o, cl.path, cl.set); };
}

void define_files(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* settings = add_command(app, "settings", "print the settings file's path and content", cl);
    settings->add_flag("--raw", cl.raw, "print the content's bytes as they are, control characters too");
    commands[settings] = [&cl](Session& s, const Output& o) { return run_settings(s, o, cl.raw); };

    CLI::App* exp = add_command(app, "export", "write the marked sections to a text or HTML report file", cl);
    exp->add_option("--text", cl.text_file, "write a text file; - writes standard output")->type_name("FILE");
    exp->add_option("--html", cl.html_file, "write one self-contained HTML page; - writes standard output")
        ->type_name("FILE");
    exp->callback([&cl] {  // usage errors, found before the report is read
        if (cl.text_file.empty() == cl.html_file.empty())
            throw CLI::ValidationError("export needs exactly one of --text FILE and --html FILE");
        if (cl.json && (cl.text_file == "-" || cl.html_file == "-"))
            throw CLI::ValidationError("export --json prints to standard output, so the report needs a FILE, not -");
    });
    commands[exp] = [&cl](Session& s, const Output& o) { return run_export(s, o, cl.text_file, cl.html_file); };
}

// The viewer's own failures, as the command line reports them.
int view(Session& session, const CommandLine& cl) {
    ViewOptions options;
    options.port = cl.port;
    options.open_browser = !cl.no_open;
    try {
        run_view(session, cl.report, options);
    } catch (const ViewStartError& e) {
        throw CommandError(e.cause() == ViewStartError::no_port ? kExitError : kExitFailure, e.what());
    }
    return kExitOk;
}

void define_view(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* view_command =
        add_command(app, "view", "look at the TOC, mark sections and change their layout in a browser", cl);
    view_command->add_option("--port", cl.port, "port on 127.0.0.1, 0 to 65535 (default 0: a free one)")->type_name("N");
    view_command->add_flag("--no-open", cl.no_open, "do not open a browser");
    view_command->callback([&cl] {  // usage errors, found before the report is read
        if (cl.json) throw CLI::ValidationError("view prints no JSON; leave out --json");
        if (cl.port < 0 || cl.port > 65535)
            throw CLI::ValidationError("--port " + std::to_string(cl.port) + ": out of range; a port runs from 0 to 65535");
    });
    commands[view_command] = [&cl](Session& s, const Output&) { return view(s, cl); };
}

// import reads no report: it makes one, so it is run apart from the others.
CLI::App* define_import(CLI::App& app, CommandLine& cl) {
    CLI::App* import = app.add_subcommand(
        "import", "make a report file of a design flow's outputs (Yosys, nextpnr) or of a folder of report files");
    import->footer(kCommandFooter);
    import->add_option("-o,--output", cl.import_output,
                       "the report file to write (default: standard output); its settings file gets the first\n"
                       "layout of its tables when it has none yet")
        ->type_name("REPORT");
    import->add_option("INPUT", cl.inputs,
                       "Yosys's stat -json file, nextpnr's --report file, their logs, or a folder of .csv,\n"
                       ".txt, .log, .html and .json files")
        ->required();
    import->callback([&cl] {  // a usage error, found before anything is read
        if (cl.json) throw CLI::ValidationError("import writes a report file, which is JSON already; leave out --json");
    });
    return import;
}

Commands define_commands(CLI::App& app, CommandLine& cl) {
    Commands commands;
    define_views(app, cl, commands);
    define_lookup(app, cl, commands);
    define_marking(app, cl, commands);
    define_set(app, cl, commands);
    define_files(app, cl, commands);
    define_view(app, cl, commands);
    return commands;
}

void define_global_options(CLI::App& app, CommandLine& cl) {
    app.set_version_flag("--version", std::string("rpl-toc ") + RPL_TOC_VERSION);
    app.add_option("--db-dir", cl.db_dir,
                   "database directory of the settings file (default: the report file's directory; the current\n"
                   "one when REPORT is - or not a regular file)")
        ->type_name("DIR");
    app.add_flag("--json", cl.json, "print one JSON document with \"format\": 1 (every command)");
    app.add_flag("--ascii", cl.ascii, "draw the tree in plain ASCII (the default unless the locale is UTF-8)");
    app.add_flag("--debug", cl.debug, "print the library's debug traces on stderr");
    app.require_subcommand(1);
    app.fallthrough();  // global options may also follow the command
    app.footer(kFooter);
    app.get_formatter()->column_width(28);
}

std::string one_line(std::string text) {
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    return text;
}

void print_error(const std::string& message) { std::fprintf(stderr, "rpl-toc: error: %s\n", one_line(message).c_str()); }

int parse_error(CLI::App& app, const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);  // --help, --version
    std::string help = "rpl-toc";
    for (const CLI::App* command : app.get_subcommands()) help += " " + command->get_name();
    std::vector<std::string> left = app.remaining();
    if (app.get_subcommands().empty() && !left.empty())
        print_error(std::string(left.front().rfind("-", 0) == 0 ? "unknown option '" : "unknown command '") +
                    left.front() + "' (see rpl-toc --help)");
    else
        print_error(std::string(e.what()) + " (see " + help + " --help)");
    return kExitError;
}

// Box-drawing characters only where the locale says the terminal shows them.
bool utf8_locale() {
    const char* codeset = nl_langinfo(CODESET);
    return codeset && (std::strcmp(codeset, "UTF-8") == 0 || std::strcmp(codeset, "utf8") == 0);
}

bool colour_terminal() {
    const char* term = std::getenv("TERM");
    return isatty(STDOUT_FILENO) && std::getenv("NO_COLOR") == nullptr && !(term && std::strcmp(term, "dumb") == 0);
}

// A report of thousands of sections takes seconds to build (the viewer
// prints its address only after that): say what is going on meanwhile.
Outcome<std::unique_ptr<Session>> open_with_progress(const CommandLine& cl, const Output& output) {
    StatusLine loading(output.progress, [](double seconds) {
        return progress_words(Progress{kReadingReport, 0, 0, seconds});
    });
    return open_session(cl.report, cl.db_dir);
}

int run_on_report(const CommandLine& cl, const Commands& commands, const CLI::App& app, const Output& output) {
    Outcome<std::unique_ptr<Session>> session = open_with_progress(cl, output);
    if (!session.ok()) refuse(session.refusal());
    return commands.at(app.get_subcommands().front())(*session.result(), output);  // exactly one, as required
}

int run(int argc, char** argv) {
    CLI::App app(kDescription, "rpl-toc");
    CommandLine cl;
    define_global_options(app, cl);
    Commands commands = define_commands(app, cl);
    CLI::App* import = define_import(app, cl);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return parse_error(app, e);
    }
    // Internal errors and information messages always reach the user.
    host_set_message_echo(cl.debug, true);
    Output output;
    output.json = cl.json;
    output.colour = colour_terminal();
    output.terminal = isatty(STDOUT_FILENO);
    output.boxes = !cl.ascii && utf8_locale();
    output.debug = cl.debug;
    output.progress = !cl.debug && isatty(STDERR_FILENO);
    int code = app.get_subcommands().front() == import ? run_import(cl.inputs, cl.import_output, cl.db_dir, output)
                                                       : run_on_report(cl, commands, app, output);
    std::cout.flush();
    if (!std::cout) throw CommandError(kExitError, "cannot write to standard output");
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");  // numbers are read and written the same everywhere
    // A save past the file-size limit then fails with EFBIG, and the library
    // keeps the old file, instead of the process dying part-way.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const CommandError& e) {
        print_error(e.what());
        return e.exit_code();
    } catch (const std::exception& e) {
        print_error(std::string("unexpected failure: ") + e.what());
        return kExitFailure;
    } catch (...) {
        print_error("unexpected failure");
        return kExitFailure;
    }
}
