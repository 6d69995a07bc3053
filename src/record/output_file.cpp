#include "record/output_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "common/err_code.h"

namespace OstraneRecord {

namespace {

constexpr size_t MAX_HELD = size_t{1} << 16;
constexpr int MAX_LINKS = 40;
// Leaves room for what is added to it in the name of the temporary file.
constexpr size_t MAX_BASE_NAME = 200;

// The paths that a signal handler removes: plain memory, because it may run at any instruction.
enum SlotState { SLOT_FREE, SLOT_FILLING, SLOT_FILLED };
struct Slot {
    std::atomic<int> state{SLOT_FREE};
    char path[PATH_MAX];
};
constexpr int SLOT_COUNT = 16;
Slot g_temporaryFiles[SLOT_COUNT];

// -1 when there is none left: then a signal leaves the file behind.
int TakeSlot(const std::string& path) {
    for (int i = 0; path.size() < PATH_MAX && i < SLOT_COUNT; ++i) {
        int expected = SLOT_FREE;
        if (g_temporaryFiles[i].state.compare_exchange_strong(expected, SLOT_FILLING)) {
            std::memcpy(g_temporaryFiles[i].path, path.c_str(), path.size() + 1);
            g_temporaryFiles[i].state.store(SLOT_FILLED);
            return i;
        }
    }
    return -1;
}

// Keeps signals from this thread for as long as it lives; errno stays.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsHeld() {
        const int kept = errno;
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = kept;
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t m_before = {};
};

// Where the links at the end of `path` lead; the last one may lead to nothing.
std::string FollowLinks(const std::string& path) {
    std::filesystem::path target = path;
    std::error_code failed;
    for (int i = 0; i < MAX_LINKS && std::filesystem::is_symlink(target, failed); ++i) {
        const std::filesystem::path next = std::filesystem::read_symlink(target, failed);
        if (failed) {
            break;
        }
        target = next.is_absolute() ? next : target.parent_path() / next;
    }
    return target.string();
}

mode_t NewFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return static_cast<mode_t>(0666) & ~mask;
}

}  // namespace

OutputFile::~OutputFile() {
    Discard();
}

void OutputFile::RemoveTemporaryFiles() {
    for (const Slot& slot : g_temporaryFiles) {
        if (slot.state.load() == SLOT_FILLED) {
            unlink(slot.path);
        }
    }
}

int OutputFile::Fail(const std::string& what, InputError& error) const {
    const std::string reason = std::strerror(errno);
    error = InputError();
    error.file = m_name;
    return FailInput(error, OstraneErrCode::GEN_ERR_ERR, what + ": " + reason);
}

void OutputFile::Discard() {
    if (m_descriptor >= 0 && m_ownsDescriptor) {
        close(m_descriptor);
    }
    m_descriptor = -1;
    if (!m_temporary.empty()) {
        unlink(m_temporary.c_str());
        m_temporary.clear();
    }
    if (m_slot >= 0) {
        g_temporaryFiles[m_slot].state.store(SLOT_FREE);
        m_slot = -1;
    }
}

void OutputFile::UseDescriptor(int descriptor, const std::string& name) {
    m_descriptor = descriptor;
    m_name = name;
}

int OutputFile::OpenTemporary(const std::string& target, bool exists, InputError& error) {
    struct stat status = {};
    if (exists && stat(target.c_str(), &status) != 0) {
        return Fail("cannot be looked at", error);
    }
    // A rename asks the folder, not the file: a file that may not be written must be protected here.
    if (exists && access(target.c_str(), W_OK) != 0) {
        return Fail("cannot be written", error);
    }
    const std::filesystem::path path = target;
    const std::string base = path.filename().string().substr(0, MAX_BASE_NAME);
    std::string pattern = (path.parent_path() / ("." + base + ".XXXXXX")).string();
    {
        // A handler that ran between the two would not know of the file.
        const SignalsHeld held;
        m_descriptor = mkostemp(pattern.data(), O_CLOEXEC);
        m_slot = m_descriptor < 0 ? -1 : TakeSlot(pattern);
    }
    if (m_descriptor < 0) {
        return Fail("cannot be written: no file can be made in its folder", error);
    }
    m_ownsDescriptor = true;
    m_temporary = pattern;
    m_target = target;
    struct stat own = {};
    if (fstat(m_descriptor, &own) != 0) {
        return Fail("cannot be written", error);
    }
    const bool isOther = exists && (own.st_uid != status.st_uid || own.st_gid != status.st_gid);
    if (isOther && fchown(m_descriptor, status.st_uid, status.st_gid) != 0) {
        return Fail("its owner and group cannot be kept", error);
    }
    if (fchmod(m_descriptor, exists ? status.st_mode & static_cast<mode_t>(07777) : NewFileMode()) != 0) {
        return Fail("its mode cannot be kept", error);
    }
    return 0;
}

int OutputFile::Replace(const std::string& path, InputError& error) {
    m_name = path;
    struct stat status = {};
    const bool exists = stat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT) {
        return Fail("cannot be written", error);
    }
    if (exists && S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        return Fail("cannot be written", error);
    }
    // Opened by the name given: what a link such as /dev/stdout reads as may be no path, "pipe:[7]".
    if (exists && !S_ISREG(status.st_mode)) {
        m_descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        m_ownsDescriptor = true;
        return m_descriptor < 0 ? Fail("cannot be written", error) : 0;
    }
    return OpenTemporary(FollowLinks(path), exists, error);
}

bool OutputFile::IsTerminal() const {
    return m_descriptor >= 0 && isatty(m_descriptor) != 0;
}

int OutputFile::Write(const std::string& bytes, InputError& error) {
    m_held += bytes;
    return m_held.size() < MAX_HELD ? 0 : Flush(error);
}

int OutputFile::Flush(InputError& error) {
    size_t written = 0;
    while (written < m_held.size()) {
        const ssize_t count = write(m_descriptor, m_held.data() + written, m_held.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            m_hasLostReader = errno == EPIPE;
            m_held.clear();
            return Fail("cannot be written", error);
        }
        written += static_cast<size_t>(count);
    }
    m_held.clear();
    return 0;
}

int OutputFile::Commit(InputError& error) {
    if (Flush(error) != 0) {
        return error.code;
    }
    if (m_temporary.empty()) {
        return 0;
    }
    if (fsync(m_descriptor) != 0) {
        return Fail("cannot be written", error);
    }
    const int closed = close(m_descriptor);
    m_descriptor = -1;
    if (closed != 0) {
        return Fail("cannot be written", error);
    }
    if (rename(m_temporary.c_str(), m_target.c_str()) != 0) {
        return Fail("cannot be replaced", error);
    }
    m_temporary.clear();
    Discard();
    // The new name, too, has to survive a loss of power. Some file systems cannot bring a folder to the
    // disk; the file is in its place all the same.
    const std::string folder = std::filesystem::path(m_target).parent_path().string();
    const int folderDescriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderDescriptor >= 0) {
        static_cast<void>(fsync(folderDescriptor));
        close(folderDescriptor);
    }
    return 0;
}

}  // namespace OstraneRecord
