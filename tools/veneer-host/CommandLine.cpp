// The command line of veneer-host: every command, option, check and help text in one place.
#include <stdlib.h>
#include <CLI/CLI.hpp>

#include <iostream>

#include "Commands.h"

namespace host {

namespace {

constexpr const char* kRenderText =
    "Renders INPUT (WAV, AIFF or FLAC; mono or stereo) through Veneer, the way a DAW plays a track\n"
    "through the plug-in. Without INPUT it renders the embedded demo: a few seconds of a synthetic\n"
    "voice with a default set of settings, written to veneer-demo.wav with a report in veneer-demo.txt.\n"
    "It plays the companion application: it keeps plugin_state.txt fresh (renewing its time) and sends\n"
    "the settings given; without any it keeps the file's settings, or writes one without settings. The\n"
    "summary shows the settings in force at the start; --veneer-defaults starts from Veneer's own. The\n"
    "demo puts the settings file back as it was, so its settings do not carry over to later renders.";

constexpr const char* kValidateText =
    "Opens the unit, checks its required properties, formats and channel table, renders at several\n"
    "sizes and rates (sliced, mono, above the maximum frames), changes the maximum frames, resets, sets\n"
    "and schedules every parameter, sends MIDI, round-trips its class info, offers it a megabyte of\n"
    "random state, opens and closes it repeatedly, and turns the host's bypass on and off. Bypassed,\n"
    "Veneer must play the block it read last again. It plays the companion application (unless\n"
    "--no-companion), so that Veneer renders through its product, and puts plugin_state.txt back as it\n"
    "was afterwards (or removes it). Prints PASS or FAIL per check; exit status 0 when everything\n"
    "passed, 1 otherwise (or when interrupted).";

constexpr const char* kViewText =
    "Opens the unit as a DAW does, plays the companion application (unless --no-companion), renders a\n"
    "quarter of a second, and prints what Veneer's window would show: the product's own view (its bundle\n"
    "and class), the generic view of its parameters, or only a status; and the status line, which says\n"
    "which product Veneer runs and whether the companion application steers it or Veneer is bypassed.";

// A CLI11 check from one of our parsers, with the parser's message when it refuses the text.
template <typename Parse>
CLI::Validator Checked(Parse parse, const char* shape) {
  return {[parse](std::string& text) {
            std::string error;
            return parse(text, &error) ? std::string() : error;
          },
          shape};
}

std::optional<companion::SettingChange> ParseSetting(const std::string& text, std::string* error) {
  return companion::ParseSettingArg(text, error);
}

// A repeatable option (one value per occurrence) whose values `parse` checks
// first and then turns into the entries of `into`.
template <typename Parse, typename Value>
void AddParsedList(CLI::App& command, const std::string& name, Parse parse, std::vector<Value>& into,
                   const std::string& help, const std::string& shape) {
  command
      .add_option_function<std::vector<std::string>>(
          name,
          [parse, &into](const std::vector<std::string>& values) {
            std::string unused;
            for (const std::string& value : values) {
              into.push_back(*parse(value, &unused));
            }
          },
          help)
      ->allow_extra_args(false)
      ->type_name(shape)
      ->check(Checked(parse, ""));
}

void AddComponentOptions(CLI::App& command, ComponentChoice& choice) {
  const std::pair<const char*, const char*> options[] = {
      {"--component", "the unit by its codes (default aufx:Vnr1:Tnvl)"},
      {"--module", "load the unit from a .component bundle, as its Info.plist says, or a module file"},
      {"--factory", "its factory function (default: the bundle's, or VeneerFactory)"},
      {"--standin", "stand-in product to register first (Linux): pro (default), advanced, 2026, artist, efx, none"},
  };
  const char* shapes[] = {"T:S:M", "PATH", "NAME", "NAME"};
  std::size_t shape = 0;
  for (const auto& [name, help] : options) {
    const std::string option = name;
    const auto parse = [option](const std::string& value, std::string* error) {
      ComponentChoice scratch;
      return ParseComponentOption(option, value, scratch, error) && error->empty();
    };
    command
        .add_option_function<std::string>(
            name,
            [option, &choice](const std::string& value) {
              std::string unused;
              ParseComponentOption(option, value, choice, &unused);
            },
            help)
        ->check(Checked(parse, ""))
        ->type_name(shapes[shape++]);
  }
}

void AddRenderOptions(CLI::App& render, RenderOptions& options) {
  render
      .add_option_function<std::string>(
          "INPUT", [&](const std::string& path) { options.input = path; },
          "the file to render (default: the embedded demo)")
      ->type_name("FILE");
  render
      .add_option_function<std::string>(
          "-o,--output", [&](const std::string& path) { options.output = path; },
          "the result (default: INPUT-veneer.EXT, or .wav for a type it cannot write)")
      ->type_name("FILE");
  render
      .add_option_function<std::string>(
          "--report", [&](const std::string& path) { options.report = path; }, "also write the summary to FILE")
      ->type_name("FILE");
  render.add_option("--block", options.blockFrames, "frames per render call")
      ->check(CLI::Range(1U, 65536U))
      ->type_name("N")
      ->capture_default_str();
  render.add_option("--max-frames", options.maxFrames, "the unit's maximum frames per slice (default: the block)")
      ->check(CLI::Range(1U, 65536U))
      ->type_name("N");
  render.add_flag_callback(
      "--fast", [&] { options.realTime = false; }, "render as fast as possible, not at real time");
  render.add_flag("--initialize-on-worker", options.initializeOnWorker,
                  "initialise the unit on another thread than the main one");
  AddComponentOptions(render, options.component);
  AddParsedList(render, "--set", ParseSetting, options.settings,
                "a setting sent as the companion application before the run", "KEY=VALUE");
  AddParsedList(render, "--set-at", ParseTimedSetting, options.timedSettings,
                "a setting sent when the render reaches SECONDS of the audio", "SECONDS:KEY=VALUE");
  render.add_flag(
      "--veneer-defaults", options.fromDefaults,
      "send Veneer's own value for every setting before the run (then any --set), instead of keeping what the "
      "settings file holds");
  render.add_flag_callback(
      "--no-companion", [&] { options.playsCompanion = false; },
      "leave the companion's files alone (Veneer follows the real application)");
  render.add_flag("--bypass", options.hostBypass,
                  "turn the host's bypass switch on for the run (bypassed blocks then end with status 0)");
  AddParsedList(render, "--param", ParseParameter, options.parameters,
                "set a parameter of the unit before it is initialised", "ID=VALUE");
  render
      .add_option_function<std::string>(
          "--load-preset", [&](const std::string& path) { options.loadPreset = path; },
          "restore an .aupreset before the run")
      ->type_name("FILE");
  render
      .add_option_function<std::string>(
          "--save-preset", [&](const std::string& path) { options.savePreset = path; },
          "save the unit's state as an .aupreset after the run")
      ->type_name("FILE");
  render.add_flag_callback(
      "--no-progress", [&] { options.progress = false; }, "no progress bar");
}

void AddValidateOptions(CLI::App& validate, ValidateOptions& options) {
  AddComponentOptions(validate, options.component);
  AddParsedList(validate, "--set", ParseSetting, options.settings,
                "a setting sent as the companion application before the checks", "KEY=VALUE");
  validate.add_flag_callback(
      "--no-companion", [&] { options.playsCompanion = false; },
      "leave the companion's files alone (Veneer follows the real application)");
}

void AddViewOptions(CLI::App& view, ViewOptions& options) {
  AddComponentOptions(view, options.component);
  view.add_flag("--standin-view", options.component.standInView,
                "the stand-in product offers a Cocoa view of its own (Linux)");
  view.add_flag_callback(
      "--no-companion", [&] { options.playsCompanion = false; },
      "leave the companion's files alone (Veneer follows the real application)");
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
  CLI::App app{"veneer-host: a command-line host that plays the DAW for Veneer.", "veneer-host"};
  app.set_version_flag("--version", std::string("veneer-host ") + VENEER_VERSION);
  app.fallthrough();  // --home (and --help) anywhere on the line
  app.require_subcommand(0, 1);
  app.footer(
      "--home DIR (anywhere on the line) uses DIR as the home folder: plug-ins and support folder.\n"
      "exit status: 0 done, 1 the unit or a file failed, 2 bad arguments or unusable input,\n"
      "3 rendered, but Veneer bypassed blocks (its replayed block, not the product's audio) unasked");
  std::optional<std::string> home;
  app.add_option_function<std::string>(
         "--home", [&](const std::string& folder) { home = folder; },
         "use DIR as the home folder (plug-ins and support folder)")
      ->type_name("DIR")
      ->check(CLI::Validator(CLI::ExistingDirectory).description(""));

  RenderOptions render;
  CLI::App* renderCommand = app.add_subcommand("render", "render a file (or the embedded demo) through Veneer");
  renderCommand->footer(kRenderText);
  AddRenderOptions(*renderCommand, render);
  ValidateOptions validate;
  CLI::App* validateCommand = app.add_subcommand("validate", "check that a unit behaves as hosts expect");
  validateCommand->footer(kValidateText);
  AddValidateOptions(*validateCommand, validate);
  ViewOptions view;
  CLI::App* viewCommand = app.add_subcommand("view", "show what Veneer's window would show");
  viewCommand->footer(kViewText);
  AddViewOptions(*viewCommand, view);
  CLI::App* helpCommand = app.add_subcommand("help", "this text and every command's options");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& failure) {
    if (failure.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      return app.exit(failure);  // --help or --version
    }
    std::string where = "veneer-host";
    for (const CLI::App* command : app.get_subcommands()) {
      where += " " + command->get_name();
    }
    std::cerr << where << ": " << failure.what() << " (see " << where << " --help)\n";
    return kExitUsage;
  }
  if (home && setenv("HOME", home->c_str(), 1) != 0) {
    std::cerr << "veneer-host: cannot use --home " << *home << "\n";
    return kExitUsage;
  }
  if (renderCommand->parsed()) {
    return RunRender(std::move(render));
  }
  if (validateCommand->parsed()) {
    return RunValidate(validate);
  }
  if (viewCommand->parsed()) {
    return RunView(view);
  }
  // app.help() would describe the selected `help` command rather than the program.
  std::cout << app.get_formatter()->make_help(&app, "veneer-host", CLI::AppFormatMode::Normal);
  if (helpCommand->parsed()) {
    std::cout << "\n" << renderCommand->help() << "\n" << validateCommand->help() << "\n" << viewCommand->help();
  }
  return kExitOk;
}

}  // namespace host
