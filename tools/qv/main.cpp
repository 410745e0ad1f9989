// qv: see what the camera sees.
//   qv list [--json]                          every attached camera
//   qv info [selector]                        one camera in detail
//   qv stream [selector] [options]            stream, show rates, save frames
//   qv set NAME VALUE / qv get NAME [selector] Fl30c settings
//   qv watch [--seconds N]                    cameras arriving and leaving
//   qv capture [selector] [options]           raw frames straight from the transport
// Anywhere: --emulate MODEL[,N][,MODEL[,N]...] runs against built-in emulated cameras;
// --quiet drops the library's log lines (they go to standard error otherwise).
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "CaptureCommand.h"
#include "Console.h"
#include "InfoCommand.h"
#include "ListCommand.h"
#include "SettingsCommand.h"
#include "StreamCommand.h"
#include "WatchCommand.h"

#ifdef ORR_QV_WITH_EMULATOR
#include "EmulatorSession.h"
#include "PreloadEnvironment.h"
#endif

namespace {

int usage(FILE* to)
{
    std::fprintf(to,
                 "usage: qv COMMAND [options] [--emulate MODEL[,N]...] [--quiet]\n"
                 "commands:\n"
                 "  list [--json]             every attached camera\n"
                 "  info [selector]           versions, modes, stream parameters, calibration, temperatures\n"
                 "  stream [selector] [...]   stream frames; 'qv stream --help' for its options\n"
                 "  set NAME VALUE [selector] change an Fl30c setting\n"
                 "  get NAME [selector]       read an Fl30c setting\n"
                 "  watch [--seconds N]       cameras arriving and leaving (USB and network), until Ctrl-C\n"
                 "  capture [selector] [...]  raw frames straight from the transport; 'qv capture --help'\n"
                 "selector: --index N | --serial TEXT | --bus B --port-path P\n"
                 "--emulate MODEL[,N][,...]: use N emulated cameras of each MODEL (e.g. fl30c,2) instead of the attached ones\n");
    return to == stdout ? 0 : 2;
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args;
    std::string emulate;
    bool quiet = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--emulate" || a.rfind("--emulate=", 0) == 0) {
            if (a == "--emulate" && i + 1 >= argc) {
                std::fprintf(stderr, "qv: --emulate needs a value such as fl30c or fl30c,2\n");
                return 2;
            }
            emulate = a == "--emulate" ? argv[++i] : a.substr(10);
        } else if (a == "--quiet" || a == "-q") {
            quiet = true;
        } else {
            args.push_back(a);
        }
    }
    if (args.empty()) return usage(stderr);
    const std::string command = args.front();
    args.erase(args.begin());
    if (command == "help" || command == "--help" || command == "-h") return usage(stdout);
    const bool known = command == "list" || command == "info" || command == "stream" || command == "set" ||
                       command == "get" || command == "watch" || command == "capture";
    if (!known) {
        std::fprintf(stderr, "qv: unknown command \"%s\"\n", command.c_str());
        return usage(stderr);
    }
    for (const std::string& a : args)
        if (a == "--help" || a == "-h") {
            if (command == "stream") {
                std::printf("%s", qv::StreamCommand::usage());
                return 0;
            }
            if (command == "watch") {
                std::printf("%s", qv::WatchCommand::usage());
                return 0;
            }
            if (command == "capture") {
                std::printf("%s", qv::CaptureCommand::usage());
                return 0;
            }
            if (command == "set" || command == "get") {
                std::printf("%s", qv::SettingsCommand::usage());
                return 0;
            }
            return usage(stdout);
        }

#ifdef ORR_QV_WITH_EMULATOR
    std::unique_ptr<orrindale::emulator::EmulatorSession> session;
    if (!emulate.empty()) {
        const auto options = orrindale::emulator::EmulatorSessionOptions::parse(emulate);
        if (!options) {
            std::fprintf(stderr,
                         "qv: --emulate takes models with optional counts such as fl30c or fl30c,2 (at most %d "
                         "cameras; models: %s), not \"%s\"\n",
                         orrindale::emulator::EmulatorSession::kMaxCameras,
                         orrindale::emulator::EmulatorSession::modelNames().c_str(), emulate.c_str());
            return 2;
        }
        // Re-executes qv under the device emulation when needed; returns in that process.
        if (!orrindale::emulator::PreloadEnvironment::ensure(argv)) return 1;
        session = orrindale::emulator::EmulatorSession::start(*options);
        if (!session) {
            std::fprintf(stderr, "qv: the emulated cameras could not be set up\n");
            return 1;
        }
    }
#else
    if (!emulate.empty()) {
        std::fprintf(stderr, "qv: this build has no emulated cameras (umockdev was not found when it was built)\n");
        return 2;
    }
#endif

    qv::Console::separateLibraryLog(quiet);
    if (command == "list") return qv::ListCommand::run(args);
    if (command == "info") return qv::InfoCommand::run(args);
    if (command == "stream") return qv::StreamCommand::run(args);
    if (command == "set") return qv::SettingsCommand::runSet(args);
    if (command == "watch") return qv::WatchCommand::run(args);
    if (command == "capture") return qv::CaptureCommand::run(args);
    return qv::SettingsCommand::runGet(args);
}
