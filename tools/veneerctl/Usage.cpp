#include <iostream>

#include "Commands.h"
#include "VariantNames.h"

namespace veneerctl {

std::optional<SupportFolder> LocateFolder(const Invocation& invocation) {
  std::string error;
  auto folder = SupportFolder::Locate(invocation.home, &error);
  if (!folder) {
    std::cerr << "veneerctl: " << error << "\n";
  }
  return folder;
}

void PrintUsage(std::ostream& out) {
  out << "usage: veneerctl [--home DIR] COMMAND [ARGS]\n"
         "\n"
         "Works on the files in $HOME/Library/Application Support/Tonvale/ (--home DIR replaces $HOME).\n"
         "\n"
         "commands:\n"
         "  set KEY=VALUE ...          send settings: rewrites plugin_state.txt with seq + 1 and appRunning=1\n"
         "                             keys: appRunning key(0-11) scale(0-14) correctionMode(alias 0) retune\n"
         "                             transpose classicMode inputType humanize flexTune naturalVibrato\n"
         "                             vibratoAmplitude(alias 47) tracking formant throat wetDry\n"
         "  heartbeat [--interval S] [--count N]\n"
         "                             keep plugin_state.txt fresh every S seconds (default 2) until Ctrl-C\n"
         "                             (or N rewrites), then write the quit marker appRunning=0\n"
         "  status                     is the plug-in running, which variant, is the heartbeat fresh\n"
         "  changes [--follow]         show plugin_params_back.txt (knobs turned in the product's editor)\n"
         "  log [--follow] [--lines N] show the last N lines (default 50) of veneer_debug.log\n"
         "  variant force NAME         write force_variant.txt\n"
         "  variant prefer NAME        write prefer_variant.txt\n"
         "  variant clear              remove both variant files\n"
         "                             NAME is exactly one of:";
  for (const std::string_view name : kVariantNames) {
    out << "\n                               " << name;
  }
  out << "\n"
         "  help                       this text\n"
         "\n"
         "exit status: 0 done, 1 nothing to show or a file operation failed, 2 bad arguments (nothing written)\n";
}

}  // namespace veneerctl
