// Writes a file wholly or not at all: what was there stays until Commit, whatever happens before it.
//
//   OutputFile out;
//   out.Replace("player.json", error);
//   out.Write(bytes, error);
//   out.Commit(error);
#ifndef OSTRANE_RECORD_OUTPUT_FILE_H_
#define OSTRANE_RECORD_OUTPUT_FILE_H_

#include <string>

#include "record/input_error.h"

namespace OstraneRecord {

// Each method returns 0, or GEN_ERR_ERR with the file and the system's reason in `error`. One thread at a
// time. Destroyed without Commit, it leaves no trace.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Writes to a descriptor that stays the caller's, such as 1; `name` stands for it in errors.
    void UseDescriptor(int descriptor, const std::string& name);
    // Writes a temporary file beside `path`, whose mode and owner it takes over; Commit renames it. A link is
    // followed: the file that it leads to is replaced. A device or a pipe is written to as it is.
    int Replace(const std::string& path, InputError& error);

    bool IsTerminal() const;
    // Whether a write failed because nobody reads the other end of a pipe.
    bool HasLostReader() const { return m_hasLostReader; }

    // Holds back up to 64 KiB.
    int Write(const std::string& bytes, InputError& error);
    int Flush(InputError& error);
    // Writes what was held back, brings it to the disk, and puts the file in its place.
    int Commit(InputError& error);

    // For a signal handler: removes the temporary files of all that are not committed. Safe there. A process
    // that is killed without being asked leaves its own behind, beside a target that is whole.
    static void RemoveTemporaryFiles();

private:
    int Fail(const std::string& what, InputError& error) const;
    int OpenTemporary(const std::string& target, bool exists, InputError& error);
    void Discard();

    std::string m_name;    // as the user gave it
    std::string m_target;  // what is renamed over; empty when nothing is
    std::string m_temporary;
    std::string m_held;
    int m_descriptor = -1;
    int m_slot = -1;
    bool m_ownsDescriptor = false;
    bool m_hasLostReader = false;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_OUTPUT_FILE_H_
