#include "record/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "common/err_code.h"

namespace OstraneRecord {

namespace {

constexpr size_t MAX_SIZE = static_cast<size_t>(std::numeric_limits<int>::max());
constexpr size_t CHUNK_SIZE = size_t{1} << 18;

// Closes it also when memory runs out.
struct OpenFile {
    int descriptor;
    ~OpenFile() { close(descriptor); }
};

int FailSystem(const std::string& name, const std::string& what, InputError& error) {
    error.file = name;
    return FailInput(error, OstraneErrCode::GEN_ERR_ERR, what + ": " + std::strerror(errno));
}

int FailSize(const std::string& name, InputError& error) {
    error.file = name;
    return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "more than 2 GiB in one record cannot be handled");
}

}  // namespace

int ReadDescriptorBytes(int descriptor, const std::string& name, std::string& bytes, InputError& error) {
    bytes.clear();
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        if (static_cast<uintmax_t>(status.st_size) > MAX_SIZE) {
            return FailSize(name, error);
        }
        bytes.reserve(static_cast<size_t>(status.st_size) + 1);
    }
    size_t used = 0;
    for (;;) {
        bytes.resize(std::max(std::min(bytes.capacity(), MAX_SIZE + 1), used + CHUNK_SIZE));
        const ssize_t count = read(descriptor, &bytes[used], bytes.size() - used);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return FailSystem(name, "cannot be read", error);
        }
        if (count == 0) {
            bytes.resize(used);
            return 0;
        }
        used += static_cast<size_t>(count);
        if (used > MAX_SIZE) {
            return FailSize(name, error);
        }
    }
}

int ReadFileBytes(const std::string& path, std::string& bytes, InputError& error) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return FailSystem(path, "cannot be opened", error);
    }
    const OpenFile file{descriptor};
    return ReadDescriptorBytes(descriptor, path, bytes, error);
}

}  // namespace OstraneRecord
