// rpl-toc: a command-line host for the report-presentation library. It
// loads a report from a JSON file into the stand-in report database, builds
// the table of contents and lets a person or a script look at it, step
// through it, mark sections, change layout settings and write a report file.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/host.h"
#include "tools/commands.h"
#include "tools/view_server.h"

namespace {

using namespace rpl_toc;

const char* const kDescription =
    "rpl-toc: the table of contents of a report, built by the report-presentation library.\n"
    "REPORT is a report file (JSON); PATH is a section's rdb path, \"||\" and the names from the\n"
    "main folder down, e.g. '||Design Flow||Timing||Setup Slack'. Layout choices are kept in the\n"
    "report's settings file in the database directory.";

const char* const kFooter =
    "Exit codes: 0 success; 1 nothing found (find, next, prev); 2 bad usage, an unreadable or\n"
    "invalid report file, an unknown PATH for mark, unmark or set, a report file that cannot be\n"
    "written; 3 an unexpected failure of the tool.";

const char* const kCommandFooter =
    "Global options, before or after the command: --db-dir DIR, --json, --debug (see rpl-toc --help).";

// Everything the command line can set.
struct CommandLine {
    std::string db_dir;
    bool json = false;
    bool debug = false;
    std::string report;
    std::string path;
    std::vector<std::string> paths;
    bool show_paths = false;
    SetRequest set;
    std::string text_file;
    std::string html_file;
};

using Runner = std::function<int(Session&, const Output&)>;

struct Command {
    CLI::App* app;
    Runner run;
};

void add_report(CLI::App* command, CommandLine& cl) {
    command->add_option("REPORT", cl.report, "the report file (JSON)")->required();
}

CLI::App* add_command(CLI::App& app, const char* name, const char* help, CommandLine& cl) {
    CLI::App* command = app.add_subcommand(name, help);
    command->footer(kCommandFooter);
    add_report(command, cl);
    return command;
}

using Commands = std::vector<Command>;

void define_show(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* show = add_command(app, "show", "print the TOC as a tree", cl);
    show->add_flag("--paths", cl.show_paths, "print each section's rdb path instead of its name");
    commands.push_back({show, [&cl](Session& s, const Output& o) { return run_show(s, o, cl.show_paths); }});
}

void define_lookup(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* find = add_command(app, "find", "print the section with that path (exit 1: none)", cl);
    find->add_option("PATH", cl.path, "rdb path")->required();
    commands.push_back({find, [&cl](Session& s, const Output& o) { return run_find(s, o, cl.path); }});
    for (bool forward : {true, false}) {
        CLI::App* step = add_command(app, forward ? "next" : "prev",
                                     forward ? "print the path of the next section that is not a folder (exit 1: none)"
                                             : "print the path of the previous section that is not a folder (exit 1: none)",
                                     cl);
        step->add_option("PATH", cl.path, "rdb path to step from")->required();
        commands.push_back({step, [&cl, forward](Session& s, const Output&) { return run_step(s, cl.path, forward); }});
    }
}

void define_marking(CLI::App& app, CommandLine& cl, Commands& commands) {
    for (bool marked : {true, false}) {
        CLI::App* mark = add_command(app, marked ? "mark" : "unmark",
                                     marked ? "mark sections and everything below them for output"
                                            : "unmark sections and everything below them",
                                     cl);
        mark->add_option("PATH", cl.paths, "rdb paths, applied in the order given")->required();
        commands.push_back({mark, [&cl, marked](Session& s, const Output& o) { return run_mark(s, o, cl.paths, marked); }});
    }
}

void define_set(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* set = add_command(app, "set", "change a section's layout settings and save them", cl);
    set->add_option("PATH", cl.path, "the section to change")->required();
    set->add_option("--orientation", cl.set.orientation, "page orientation")
        ->check(CLI::Range(1, 2).description(""))->type_name("1|2");
    set->add_option("--chart-type", cl.set.chart_type, "chart type (charts only)")->type_name("N");
    // One value per option, so that a value cannot swallow the next argument.
    set->add_option("--width", cl.set.widths, "width W of column I (tables only)")
        ->type_name("I=W")->allow_extra_args(false);
    set->add_option("--align", cl.set.aligns, "alignment of column I, L or R (tables only)")
        ->type_name("I=L|R")->allow_extra_args(false);
    set->add_option("--order", cl.set.orders, "display column D of column I (tables only)")
        ->type_name("I=D")->allow_extra_args(false);
    commands.push_back({set, [&cl, set](Session& s, const Output& o) {
                            cl.set.has_orientation = set->count("--orientation") > 0;
                            cl.set.has_chart_type = set->count("--chart-type") > 0;
                            return run_set(s, o, cl.path, cl.set);
                        }});
}

void define_files(CLI::App& app, CommandLine& cl, Commands& commands) {
    CLI::App* settings = add_command(app, "settings", "print the settings file's path and content", cl);
    commands.push_back({settings, [](Session& s, const Output& o) { return run_settings(s, o); }});

    CLI::App* exp = add_command(app, "export", "write the marked sections to a text or HTML report file", cl);
    exp->add_option("--text", cl.text_file, "write a text file")->type_name("FILE");
    exp->add_option("--html", cl.html_file, "write one self-contained HTML page")->type_name("FILE");
    exp->callback([&cl] {  // a usage error, found before the report is read
        if (cl.text_file.empty() == cl.html_file.empty())
            throw CLI::ValidationError("export needs exactly one of --text FILE and --html FILE");
    });
    commands.push_back({exp, [&cl](Session& s, const Output&) { return run_export(s, cl.text_file, cl.html_file); }});
}

void define_view(CLI::App& app, CommandLine& cl, Commands& commands) {
    static ViewOptions options;  // the command line's, kept beside it until the end
    static bool no_open = false;
    CLI::App* view = add_command(app, "view", "look at the TOC, mark sections and change their layout in a browser", cl);
    view->add_option("--port", options.port, "port on 127.0.0.1 (default: a free one)")
        ->check(CLI::Range(0, 65535).description(""))->type_name("N");
    view->add_flag("--no-open", no_open, "do not open a browser");
    commands.push_back({view, [&cl](Session& s, const Output& o) {
                            if (o.json) throw CommandError(kExitError, "view prints no JSON; leave out --json");
                            options.open_browser = !no_open;
                            return run_view(s, cl.report, options);
                        }});
}

Commands define_commands(CLI::App& app, CommandLine& cl) {
    Commands commands;
    define_show(app, cl, commands);
    define_lookup(app, cl, commands);
    define_marking(app, cl, commands);
    define_set(app, cl, commands);
    define_files(app, cl, commands);
    define_view(app, cl, commands);
    return commands;
}

void define_global_options(CLI::App& app, CommandLine& cl) {
    app.set_version_flag("--version", std::string("rpl-toc ") + RPL_TOC_VERSION);
    app.add_option("--db-dir", cl.db_dir, "database directory of the settings file (default: the report file's)")
        ->type_name("DIR");
    app.add_flag("--json", cl.json, "print JSON (show, find, mark, unmark, set, settings)");
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

bool colour_terminal() {
    const char* term = std::getenv("TERM");
    return isatty(STDOUT_FILENO) && std::getenv("NO_COLOR") == nullptr && !(term && std::strcmp(term, "dumb") == 0);
}

int run(int argc, char** argv) {
    CLI::App app(kDescription, "rpl-toc");
    CommandLine cl;
    define_global_options(app, cl);
    Commands commands = define_commands(app, cl);
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
    for (const Command& command : commands) {
        if (!command.app->parsed()) continue;
        Session session(cl.report, cl.db_dir);
        int code = command.run(session, output);
        std::cout.flush();
        if (!std::cout) throw CommandError(kExitError, "cannot write to standard output");
        return code;
    }
    throw CommandError(kExitError, "no command given");
}

}  // namespace

int main(int argc, char** argv) {
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
