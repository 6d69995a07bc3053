#include "session.h"

#include <fcntl.h>
#include <google/protobuf/descriptor.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/err_code.h"
#include "common/string_util.h"
#include "record/file_bytes.h"
#include "record/plan_path.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::InputError;
using OstraneRecord::ParameterValue;

namespace {

// Far beyond what a command line holds.
constexpr int MAX_PARAMETERS = 65536;

int FailInputFile(const std::string& name, const std::string& what) {
    InputError error;
    error.file = name;
    const std::string reason = std::strerror(errno);
    OstraneRecord::FailInput(error, OstraneErrCode::GEN_ERR_ERR, what + ": " + reason);
    PrintInputError(error);
    return EXIT_NOT_POSSIBLE;
}

bool IsSameFile(int descriptor, const std::string& path) {
    struct stat opened = {};
    struct stat named = {};
    return fstat(descriptor, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

// Whether what is read is the regular file that stdout writes.
bool IsStdoutOf(int descriptor) {
    struct stat in = {};
    struct stat out = {};
    return fstat(descriptor, &in) == 0 && fstat(STDOUT_FILENO, &out) == 0 && S_ISREG(in.st_mode) &&
           in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

}  // namespace

Session::Session(const Arguments& arguments) : m_arguments(arguments) {}

Session::~Session() {
    if (m_input > STDIN_FILENO) {
        close(m_input);
    }
}

OstraneRecord::CodecOptions Session::Codec() const {
    OstraneRecord::CodecOptions options;
    // Looking for missing fields where there can be none takes a good part of a record's time.
    options.partial = m_arguments.partial || !m_mayLackRequired;
    options.camelNames = m_arguments.camelNames;
    return options;
}

int Session::Start() {
    int status = EXIT_DONE;
    for (const auto step :
         {&Session::OpenLog, &Session::LoadSchema, &Session::ReadStatements, &Session::CompileStatements,
          &Session::ReadParameters, &Session::CompileCondition, &Session::BindParameters, &Session::OpenInput}) {
        status = (this->*step)();
        if (status != EXIT_DONE) {
            return status;
        }
    }
    return EXIT_DONE;
}

int Session::OpenLog() {
    if (m_arguments.log == LogLevel::Off) {
        return EXIT_DONE;
    }
    std::string reason;
    m_pLog = OstraneLog::LogChannel::ToStderr(reason);
    if (m_pLog == nullptr) {
        PrintUsageError("--log: " + reason);
        return EXIT_NOT_POSSIBLE;
    }
    m_pLog->SetBounds(-1, m_arguments.log == LogLevel::Debug ? LOG_PRIORITY_DEBUG : LOG_PRIORITY_ERROR);
    return EXIT_DONE;
}

int Session::LoadSchema() {
    InputError error;
    const int code = m_arguments.descriptorSet.empty()
                         ? m_schema.ImportProto(m_arguments.protoFile, m_arguments.roots, error)
                         : m_schema.ImportDescriptorSet(m_arguments.descriptorSet, error);
    if (code == 0) {
        m_pType = m_schema.FindType(m_arguments.type, error);
    }
    if (m_pType == nullptr || NewMessage() == nullptr) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    m_mayLackRequired = OstraneRecord::HasRequiredFields(m_pType);
    return EXIT_DONE;
}

int Session::ReadStatements() {
    InputError error;
    if (m_arguments.statementFile.empty()) {
        m_statements = m_arguments.statements;
        return EXIT_DONE;
    }
    if (OstraneRecord::ReadFileBytes(m_arguments.statementFile, m_statements, error) != 0) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    return EXIT_DONE;
}

int Session::CompileStatements() {
    OstraneRecord::StatementOptions options;
    options.strict = m_arguments.strict;
    options.partial = m_arguments.partial;
    options.camelNames = m_arguments.camelNames;
    if (OstraneRecord::StatementPlan::Compile(m_statements, m_pType, options, m_plan, m_startError) != 0) {
        PrintStatementError(m_startError, m_statements, m_arguments.statementFile);
        return EXIT_STATEMENT_FAILED;
    }
    return EXIT_DONE;
}

// One NAME=JSON; a name of digits is a number of `?`.
int Session::ReadParameter(const std::string& text, std::map<int, ParameterValue>& numbered) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    if (equals == std::string::npos || name.empty()) {
        PrintUsageError("--param takes NAME=JSON, not '" + text + "'");
        return EXIT_NOT_POSSIBLE;
    }
    if (name.front() == ':') {
        PrintUsageError("--param takes the name without its colon: " + text.substr(1));
        return EXIT_NOT_POSSIBLE;
    }
    ParameterValue value;
    std::string reason;
    if (ParameterValue::FromJson(text.substr(equals + 1), value, reason) != 0) {
        PrintUsageError("--param " + name + ": " + reason);
        return EXIT_NOT_POSSIBLE;
    }
    int number = 0;
    const bool isNumber = name.find_first_not_of("0123456789") == std::string::npos;
    if (isNumber && !StringToInt<int>(name, number, MAX_PARAMETERS, 1)) {
        PrintUsageError("--param " + name + ": parameters count from 1");
        return EXIT_NOT_POSSIBLE;
    }
    if (isNumber ? !numbered.emplace(number, value).second : !m_parameters.named.emplace(name, value).second) {
        PrintUsageError("--param " + name + " is given twice");
        return EXIT_NOT_POSSIBLE;
    }
    return EXIT_DONE;
}

int Session::ReadParameters() {
    std::map<int, ParameterValue> numbered;
    for (const std::string& text : m_arguments.parameters) {
        if (ReadParameter(text, numbered) != EXIT_DONE) {
            return EXIT_NOT_POSSIBLE;
        }
    }
    for (const auto& [number, value] : numbered) {
        const size_t next = m_parameters.positional.size() + 1;
        if (static_cast<size_t>(number) != next) {
            PrintUsageError("--param " + std::to_string(number) + " is given, but --param " + std::to_string(next) +
                            " is not");
            return EXIT_NOT_POSSIBLE;
        }
        m_parameters.positional.push_back(value);
    }
    return EXIT_DONE;
}

// The numbers of `?` count through the statements: a condition has named parameters alone.
int Session::CompileCondition() {
    if (m_arguments.where.empty()) {
        return EXIT_DONE;
    }
    OstraneRecord::StatementParameters parameters;
    parameters.named = m_parameters.named;
    if (OstraneRecord::RecordCondition::Compile(m_arguments.where, m_pType, parameters, m_condition, m_startError) !=
        0) {
        PrintStatementError(m_startError, m_arguments.where, "--where");
        return EXIT_STATEMENT_FAILED;
    }
    return EXIT_DONE;
}

// What the condition alone asks for is not the statements'; what neither asks for is told as not known.
int Session::BindParameters() {
    // A plan can be shown before its parameters are known.
    if (!m_arguments.hasInput && m_arguments.parameters.empty()) {
        return EXIT_DONE;
    }
    const std::vector<std::string> ofStatements = m_plan.ParameterNames();
    for (const std::string& name : m_condition.ParameterNames()) {
        if (std::find(ofStatements.begin(), ofStatements.end(), name) == ofStatements.end()) {
            m_parameters.named.erase(name);
        }
    }
    if (m_plan.Bind(m_parameters, m_bound, m_startError) != 0) {
        PrintStatementError(m_startError, m_statements, m_arguments.statementFile);
        return EXIT_STATEMENT_FAILED;
    }
    return EXIT_DONE;
}

// Two runs that change one file in place go one after the other: the second reads what the first wrote.
int Session::LockInput() {
    for (;;) {
        while (flock(m_input, LOCK_EX) != 0) {
            if (errno != EINTR) {
                // A file system without locks: the replacement is whole all the same.
                return EXIT_DONE;
            }
        }
        // The one before may have put a new file in the place of the one that was opened.
        if (IsSameFile(m_input, m_arguments.inFile)) {
            return EXIT_DONE;
        }
        close(m_input);
        m_input = open(m_arguments.inFile.c_str(), O_RDONLY | O_CLOEXEC);
        if (m_input < 0) {
            return FailInputFile(m_arguments.inFile, "cannot be opened");
        }
    }
}

int Session::OpenInput() {
    if (!m_arguments.hasInput) {
        return EXIT_DONE;
    }
    const bool isStdin = m_arguments.inFile.empty();
    const std::string name = isStdin ? "standard input" : m_arguments.inFile;
    m_input = isStdin ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_input < 0) {
        return FailInputFile(name, "cannot be opened");
    }
    if (!m_arguments.WritesFile() && !m_arguments.dryRun && IsStdoutOf(m_input)) {
        PrintUsageError("standard output is also the input; --in-place or --out change a file");
        return EXIT_NOT_POSSIBLE;
    }
    if (m_arguments.inPlace && LockInput() != EXIT_DONE) {
        return EXIT_NOT_POSSIBLE;
    }
    const off_t position = lseek(m_input, 0, SEEK_CUR);
    m_start = position < 0 ? 0 : position;
    m_pReader.reset(new OstraneRecord::RecordReader(m_input, name, m_arguments.inFormat));
    return EXIT_DONE;
}

ProtobufRecord Session::NewRecord() const {
    ProtobufRecord record;
    record.m_pLog = m_pLog == nullptr ? nullptr : m_pLog->Category();
    record.m_pFactory = m_schema.Factory();
    return record;
}

uint64_t Session::InputSize() const {
    struct stat status = {};
    if (fstat(m_input, &status) != 0 || !S_ISREG(status.st_mode)) {
        return 0;
    }
    // Of a redirected input, what is left of it.
    return status.st_size > m_start ? static_cast<uint64_t>(status.st_size - m_start) : 0;
}

}  // namespace OstraneCli
