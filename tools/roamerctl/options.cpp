#include "options.h"

#include <iostream>
#include <map>
#include <memory>

#include "colour.h"
#include "command_line.h"

namespace roamer::ctl
{

namespace
{

void addNoColour(CLI::App& command)
{
    command.add_flag_callback("--no-color", forbidColours, "No colours on a terminal either");
}

/// Declares a sub-command whose options become the request once they were understood.
template <typename Options>
std::pair<CLI::App*, std::shared_ptr<Options>> declare(CLI::App& app, Request& request, const std::string& name,
                                                       const std::string& help, Options initial = {})
{
    const auto options = std::make_shared<Options>(std::move(initial));
    CLI::App* command = app.add_subcommand(name, help);
    command->callback([options, &request] { request = *options; });
    addNoColour(*command);
    return {command, options};
}

void addUser(CLI::App& command, UserName& user)
{
    command.add_option("--user", user, "Another account than your own")->type_name("NAME");
}

void addJson(CLI::App& command, bool& json)
{
    command.add_flag("--json", json, "Print one JSON object");
}

void declareMessages(CLI::App& app, Request& request)
{
    using Message = MessageOptions::Message;
    auto [sync, options] = declare<MessageOptions>(app, request, "sync", "Sync the homes now", {Message::SyncNow});
    sync->add_flag("--wait", options->wait, "Return when the sync is over");
    sync->footer("Exit status: 0 asked for or, with --wait, all in step; 1 something waits for you; 3 refused.");
    declare<MessageOptions>(app, request, "refresh", "Have the agent read the preferences anew", {Message::Refresh});
    declare<MessageOptions>(app, request, "quit", "End the agent of this session", {Message::Quit});
}

void declarePreferences(CLI::App& app, Request& request)
{
    auto [get, getOptions] = declare<GetOptions>(app, request, "get", "What a preference is, and who decided it");
    get->add_option("KEY", getOptions->key, "One key; without it all of them")->type_name("");
    addUser(*get, getOptions->user);
    addJson(*get, getOptions->json);

    const auto declareSetter = [&](const char* name, const char* help, bool takesValue) {
        auto [set, options] = declare<SetOptions>(app, request, name, help);
        set->add_option("KEY", options->key, "As \"roamerctl keys\" lists it")->type_name("")->required();
        if (takesValue) {
            set->add_option("VALUE", options->words,
                            "true or false, a number, a word, folders, or COMPARISON:VALUE "
                            "rules")
                ->type_name("")
                ->required();
        }
        set->add_flag("--managed", options->managed, "In the administrator's file, which wins over the person's");
        addUser(*set, options->user);
    };
    declareSetter("set", "Set a preference", true);
    declareSetter("unset", "Remove a preference, so that its default holds", false);

    auto [keys, keysOptions] = declare<KeysOptions>(app, request, "keys", "Every preference there is");
    const auto addForm = [keys = keys, keysOptions = keysOptions](const char* flag, KeysOptions::Form form,
                                                                  const char* help) {
        keys->add_flag_callback(
            flag, [keysOptions, form] { keysOptions->form = form; }, help);
    };
    addForm("--names", KeysOptions::Form::Names, "Their names only");
    addForm("--markdown", KeysOptions::Form::Markdown, "As tables for a document");
    addForm("--man", KeysOptions::Form::Man, "As a manual page");
}

void declareViews(CLI::App& app, Request& request)
{
    auto [status, statusOptions] = declare<StatusOptions>(app, request, "status", "How it stands with an account");
    addUser(*status, statusOptions->user);
    status->add_flag("--reach", statusOptions->reach, "Mount the network home, to see who has its lock");
    addJson(*status, statusOptions->json);
    status->footer("Exit status: 0 nothing waits for a person, 1 something does, 3 there is no such account.");

    auto [conflicts, conflictsOptions] =
        declare<ConflictsOptions>(app, request, "conflicts", "What waits for a person; \"braid resolve\" decides it");
    addUser(*conflicts, conflictsOptions->user);
    addJson(*conflicts, conflictsOptions->json);

    auto [explain, explainOptions] =
        declare<ExplainOptions>(app, request, "explain", "Whether an item is synced, when, and which rule decides");
    explain->add_option("PATH", explainOptions->path, "An item of the home; it need not exist")
        ->type_name("")
        ->required();
    addUser(*explain, explainOptions->user);
    addJson(*explain, explainOptions->json);
    explain->footer("Exit status: 0 it is synced at some time, 1 never, 3 it is not in the home.");

    auto [log, logOptions] = declare<LogOptions>(app, request, "log", "Show the log, or set how much goes there");
    log->add_flag("--follow,-f", logOptions->follow, "Go on showing what is added");
    log->add_option("--lines,-n", logOptions->lines, "How many lines, 100 without it")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    log->add_option("--level", logOptions->level,
                    "Log up to this level: 0 errors, 1 what went wrong, 2 every step; "
                    "-3 nothing")
        ->type_name("N")
        ->check(CLI::Range(-3, 7));

    auto [account, accountOptions] =
        declare<AccountOptions>(app, request, "account", "What the directory says of an account");
    account->add_flag("--groups", accountOptions->groups, "The groups whose settings apply, in their order");
    addUser(*account, accountOptions->user);
    addJson(*account, accountOptions->json);
}

void addTruth(CLI::App& command, FirstSyncOptions::Truth& truth)
{
    using Truth = FirstSyncOptions::Truth;
    static const std::map<std::string, Truth> kWords = {
        {"both", Truth::Both}, {"local", Truth::Local}, {"network", Truth::Network}};
    const auto understand = [&truth](const std::string& word) {
        const auto known = kWords.find(word);
        if (known == kWords.end())
            throw CLI::ValidationError("--truth takes both, local or network, not \"" + word + "\"");
        truth = known->second;
    };
    command
        .add_option_function<std::string>("--truth", understand,
                                          "Which home holds the truth where both have an item that differs: local or "
                                          "network wins; both, without this option, asks you")
        ->type_name("both|local|network");
}

void declareEnrolment(CLI::App& app, Request& request)
{
    auto [enroll, options] = declare<EnrollOptions>(app, request, "enroll", "Make an account portable");
    enroll->add_option("USER", options->user, "A user of this computer")->type_name("")->required();
    enroll->add_option("--url", options->url, "The share: file:///FOLDER, nfs://, smb:// or sftp://SERVER/SHARE")
        ->type_name("URL")
        ->required();
    enroll->add_option("--path", options->path, "The network home in the share; the user's name without it")
        ->type_name("PATH");
    enroll->add_option("--home", options->home, "The local home; as the user database has it without this")
        ->type_name("FOLDER");
    enroll
        ->add_option("--settings", options->settings,
                     "What syncs at login and logout; Library and hidden items "
                     "without it")
        ->type_name("FOLDER");
    enroll->add_option("--folders", options->folders, "What syncs in the background; the whole home without it")
        ->type_name("FOLDER");
    addTruth(*enroll, options->truth);
    enroll->add_flag("!--no-check", options->check, "Do not reach the network home now");
    enroll->add_flag("--dry-run", options->dryRun, "Say what would happen, and do nothing");
    enroll->footer("A password for the share is read from standard input, and not kept.\n"
                   "Exit status: 0 enrolled, 1 enrolled and something waits for a decision, 2 usage, 3 refused.");

    auto [unenroll, unenrollOptions] =
        declare<UnenrollOptions>(app, request, "unenroll", "Make an account an ordinary one again");
    unenroll->add_option("USER", unenrollOptions->user, "An enrolled user")->type_name("")->required();
    unenroll->add_flag("--dry-run", unenrollOptions->dryRun, "Say what would happen, and do nothing");

    auto [first, firstOptions] = declare<FirstSyncOptions>(
        app, request, "first-sync", "Reach the network home as a login does, and bring both homes in step");
    first->add_flag("--check-only", firstOptions->checkOnly, "Only see whether it can be reached and written");
    addTruth(*first, firstOptions->truth);
    addUser(*first, firstOptions->user);
}

void declareFleet(CLI::App& app, Request& request)
{
    auto [fleet, options] =
        declare<FleetOptions>(app, request, "fleet", "On the server: how it stands with all homes below a folder");
    fleet->add_option("FOLDER", options->folder, "The folder that holds the network homes")->type_name("")->required();
    fleet->add_flag_callback(
        "--json", [options = options] { options->form = FleetOptions::Form::Json; }, "Print one JSON array");
    fleet->add_flag_callback(
        "--prometheus", [options = options] { options->form = FleetOptions::Form::Prometheus; },
        "Print metrics as Prometheus reads them");
    fleet->footer("Who needs help comes first. Exit status: 0 nothing waits, 1 something does, 3 no such folder.");
}

void declareCompletion(CLI::App& app, Request& request)
{
    auto [completion, options] =
        declare<CompletionOptions>(app, request, "completion", "Print what makes a shell complete this command");
    completion->add_option("SHELL", options->shell, "Which shell")->type_name("bash|zsh|fish")->required();
}

std::string helpHint(const CLI::App& app)
{
    const auto commands = app.get_subcommands();
    return "Try \"roamerctl " + (commands.empty() ? "" : commands.front()->get_name() + " ") + "--help\".";
}

} // namespace

void declareCommands(CLI::App& app, Request& request)
{
    app.set_version_flag("--version", "roamerctl " ROAMER_VERSION);
    addNoColour(app);
    declareViews(app, request);
    declareMessages(app, request);
    declarePreferences(app, request);
    declareEnrolment(app, request);
    declareFleet(app, request);
    declareCompletion(app, request);
}

std::variant<Request, ExitStatus> parse(int argc, const char* const* argv)
{
    CLI::App app{"Sets up and looks after accounts whose home Roamer keeps in step with the network.", "roamerctl"};
    app.require_subcommand(1);
    Request request;
    declareCommands(app, request);
    try {
        const auto isCalled = [&](const CLI::App* command) { return command->check_name(argv[1]); };
        if (argc > 1 && argv[1][0] != '-' && std::as_const(app).get_subcommands(isCalled).empty())
            throw CLI::ParseError("there is no command \"" + std::string(argv[1]) + "\"", CLI::ExitCodes::ExtrasError);
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        app.exit(help);
        return kDone;
    } catch (const CLI::ParseError& error) {
        std::cerr << colouredReason("roamerctl: ", Colour::Wrong) << error.what() << "\n" << helpHint(app) << "\n";
        return kUsage;
    }
    return request;
}

} // namespace roamer::ctl
