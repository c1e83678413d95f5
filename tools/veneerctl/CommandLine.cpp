// The command line of veneerctl: every command, option, check and help text in one place.
#include <CLI/CLI.hpp>

#include <iostream>

#include "Commands.h"
#include "VariantNames.h"

namespace veneerctl {

namespace {

constexpr const char* kKeys =
    "keys: appRunning key(0-11) scale(0-14) correctionMode(alias 0) retune transpose classicMode inputType\n"
    "humanize flexTune naturalVibrato vibratoAmplitude(alias 47) tracking formant throat wetDry";

std::string VariantList() {
  std::string list = "NAME is exactly one of:";
  for (const std::string_view name : companion::kVariantNames) {
    list += "\n  " + std::string(name);
  }
  return list;
}

// A variant's name, quoted as one argument or typed as several words.
void AddVariantName(CLI::App& command, std::string& name) {
  command.add_option_function<std::vector<std::string>>(
      "NAME",
      [&name](const std::vector<std::string>& words) {
        for (const std::string& word : words) {
          name += (name.empty() ? "" : " ") + word;
        }
      },
      "the variant");
  command.footer(VariantList());
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
  CLI::App app{"veneerctl: the companion application's side of Veneer's file link.", "veneerctl"};
  app.set_version_flag("--version", std::string("veneerctl ") + VENEER_VERSION);
  app.fallthrough();  // --home (and --help) anywhere on the line
  app.require_subcommand(0, 1);
  app.footer(
      "Works on the files in $HOME/Library/Application Support/Tonvale/; --home DIR (anywhere on the line)\n"
      "replaces $HOME. exit status: 0 done, 1 nothing to show or a file operation failed, 2 bad arguments\n"
      "(nothing written); status: 3 when the plug-in is stopped or not loaded");
  Invocation invocation;
  app.add_option_function<std::string>(
         "--home", [&](const std::string& folder) { invocation.home = folder; }, "use DIR as the home folder")
      ->type_name("DIR")
      ->check(CLI::Validator(CLI::ExistingDirectory).description(""));

  std::vector<SettingChange> changes;
  CLI::App* set = app.add_subcommand("set", "send settings: rewrites plugin_state.txt with seq + 1 and appRunning=1");
  // Named without '=': newer CLI11 refuses it in a name, so it is only the shown type.
  set->add_option_function<std::vector<std::string>>(
         "SETTINGS",
         [&](const std::vector<std::string>& args) {
           std::string unused;
           for (const std::string& arg : args) {
             changes.push_back(*ParseSettingArg(arg, &unused));
           }
         },
         "the settings; one bad one refuses them all")
      ->type_name("KEY=VALUE")
      ->required()
      ->check(CLI::Validator(
          [](std::string& arg) {
            std::string error;
            return ParseSettingArg(arg, &error) ? std::string() : error + "; nothing was written";
          },
          ""));
  set->footer(kKeys);

  HeartbeatOptions heartbeat;
  CLI::App* beat = app.add_subcommand(
      "heartbeat", "keep plugin_state.txt fresh until Ctrl-C (or N rewrites), then write the quit marker appRunning=0");
  beat->add_option("--interval", heartbeat.interval, "seconds between rewrites")
      ->type_name("S")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  beat->add_option("--count", heartbeat.count, "stop after N rewrites")
      ->type_name("N")
      ->check(CLI::Range(1L, 999999999L));

  CLI::App* status = app.add_subcommand("status", "is the plug-in running, which variant, is the heartbeat fresh");
  status->footer("exit status: 0 plug-in running, 3 stopped or not loaded, 1 no alive file");

  bool followChanges = false;
  CLI::App* changesCommand =
      app.add_subcommand("changes", "show plugin_params_back.txt (knobs turned in the product's editor)");
  changesCommand->add_flag("-f,--follow", followChanges, "show it again whenever it changes, until Ctrl-C");

  LogOptions log;
  CLI::App* logCommand = app.add_subcommand("log", "show the end of veneer_debug.log");
  logCommand->add_flag("-f,--follow", log.follow, "keep printing new lines until Ctrl-C");
  logCommand->add_option("-n,--lines", log.lines, "how many of the last lines")
      ->type_name("N")
      ->check(CLI::Range(0L, 999999999L))
      ->capture_default_str();

  CLI::App* variant = app.add_subcommand("variant", "choose the product variant at the plug-in's next initialise");
  variant->require_subcommand(1);
  std::string variantName;
  CLI::App* force = variant->add_subcommand("force", "write force_variant.txt");
  AddVariantName(*force, variantName);
  CLI::App* prefer = variant->add_subcommand("prefer", "write prefer_variant.txt");
  AddVariantName(*prefer, variantName);
  CLI::App* clear = variant->add_subcommand("clear", "remove both variant files");

  CLI::App* help = app.add_subcommand("help", "this text and every command's options");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& failure) {
    if (failure.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      return app.exit(failure);  // --help or --version
    }
    std::string where = "veneerctl";
    for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
      command = command->get_subcommands().front();
      where += " " + command->get_name();
    }
    std::cerr << where << ": " << failure.what() << " (see " << where << " --help)\n";
    return kExitUsage;
  }
  if (set->parsed()) {
    return RunSet(invocation, changes);
  }
  if (beat->parsed()) {
    return RunHeartbeat(invocation, heartbeat);
  }
  if (status->parsed()) {
    return RunStatus(invocation);
  }
  if (changesCommand->parsed()) {
    return RunChanges(invocation, followChanges);
  }
  if (logCommand->parsed()) {
    return RunLog(invocation, log);
  }
  if (variant->parsed()) {
    const VariantAction action =
        force->parsed() ? VariantAction::kForce : (prefer->parsed() ? VariantAction::kPrefer : VariantAction::kClear);
    return RunVariant(invocation, action, variantName);
  }
  // app.help() would describe the selected `help` command rather than the program.
  std::cout << app.get_formatter()->make_help(&app, "veneerctl", CLI::AppFormatMode::Normal);
  if (help->parsed()) {
    for (CLI::App* command : {set, beat, status, changesCommand, logCommand, force, prefer, clear}) {
      std::cout << "\n" << command->help();
    }
  }
  return kExitOk;
}

}  // namespace veneerctl
