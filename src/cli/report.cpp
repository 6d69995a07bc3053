#include "report.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/err_code.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::InputError;

Report::~Report() {
    if (m_descriptor > STDERR_FILENO) {
        close(m_descriptor);
    }
}

int Report::Open() {
    if (m_path.empty()) {
        return EXIT_DONE;
    }
    const bool isStdout = m_path == "-";
    m_descriptor = isStdout ? STDOUT_FILENO : open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (m_descriptor < 0) {
        InputError error;
        error.file = m_path;
        OstraneRecord::FailInput(error, OstraneErrCode::GEN_ERR_ERR,
                                 std::string("cannot be written: ") + std::strerror(errno));
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    m_out.UseDescriptor(m_descriptor, isStdout ? "standard output" : m_path);
    return EXIT_DONE;
}

int Report::Write(const std::string& line) {
    InputError error;
    if (m_out.Write(line + "\n", error) != 0) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    return EXIT_DONE;
}

int Report::Add(int64_t record, const OstraneRecord::ExecutionResult& result) {
    int status = EXIT_DONE;
    for (size_t i = 0; m_descriptor >= 0 && i < result.statements.size() && status == EXIT_DONE; ++i) {
        status = Write(OstraneRecord::ReportLine(record, result.statements[i]));
    }
    return status;
}

int Report::Add(const OstraneRecord::StatementError& error, const std::string& statements) {
    return m_descriptor < 0 ? EXIT_DONE : Write(OstraneRecord::ReportLine(0, error, statements));
}

int Report::Finish() {
    InputError error;
    if (m_descriptor >= 0 && m_out.Commit(error) != 0) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    return EXIT_DONE;
}

}  // namespace OstraneCli
