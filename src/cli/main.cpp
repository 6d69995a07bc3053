// The program `ostrane`: arguments in, records through the library, errors and results out.
#include <google/protobuf/stubs/common.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "arguments.h"
#include "record/output_file.h"
#include "run.h"
#include "terminal.h"

#if GOOGLE_PROTOBUF_VERSION >= 4022000
#include <absl/log/globals.h>
#else
#include <google/protobuf/stubs/logging.h>
#endif

namespace {

// What protobuf would print of its own accord stands in our errors already, with its place.
void SilenceProtobuf() {
#if GOOGLE_PROTOBUF_VERSION >= 4022000
    absl::SetStderrThreshold(absl::LogSeverityAtLeast::kInfinity);
#else
    google::protobuf::SetLogHandler(nullptr);
#endif
}

// An unfinished file beside the target is of no use to anyone; then the signal does what it always does.
extern "C" void RemoveFilesAndEnd(int signalNumber) {
    OstraneRecord::OutputFile::RemoveTemporaryFiles();
    OstraneCli::ClearStatusInSignal();
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

void SetUpSignals() {
    // A closed pipe is an error of a write, told and answered with an exit status.
    std::signal(SIGPIPE, SIG_IGN);
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        // Whoever started us with a signal ignored wants it ignored.
        if (std::signal(signalNumber, RemoveFilesAndEnd) == SIG_IGN) {
            std::signal(signalNumber, SIG_IGN);
        }
    }
}

int Run(int argc, char** argv) {
    OstraneCli::Arguments arguments;
    int exitStatus = 0;
    if (!OstraneCli::ParseArguments(argc, argv, arguments, exitStatus)) {
        return exitStatus;
    }
    switch (arguments.command) {
        case OstraneCli::Command::Apply:
            return OstraneCli::RunApply(arguments);
        case OstraneCli::Command::Get:
            return OstraneCli::RunGet(arguments);
        case OstraneCli::Command::Explain:
            return OstraneCli::RunExplain(arguments);
        default:
            return OstraneCli::RunCodes();
    }
}

}  // namespace

int main(int argc, char** argv) {
    SetUpSignals();
    SilenceProtobuf();
    try {
        return Run(argc, argv);
    } catch (const std::exception& exception) {
        OstraneCli::PrintUsageError(std::string("cannot go on: ") + exception.what());
        return OstraneCli::EXIT_NOT_POSSIBLE;
    }
}
