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

int Report::Add(const std::string& lines) {
    InputError error;
    if (m_descriptor >= 0 && m_out.Write(lines, error) != 0) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    return EXIT_DONE;
}

int Report::Add(const OstraneRecord::StatementError& error, const std::string& statements) {
    return Add(OstraneRecord::ReportLine(0, error, statements) + "\n");
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
