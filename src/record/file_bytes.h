// Whole files as bytes.
#ifndef OSTRANE_RECORD_FILE_BYTES_H_
#define OSTRANE_RECORD_FILE_BYTES_H_

#include <string>

#include "record/input_error.h"

namespace OstraneRecord {

// Reads the file into `bytes`. Returns 0, or GEN_ERR_ERR with the file and the system's reason in `error`.
// More than 2 GiB cannot be a record and is refused.
int ReadFileBytes(const std::string& path, std::string& bytes, InputError& error);

// The same from an open descriptor up to its end; `name` stands for it in errors.
int ReadDescriptorBytes(int descriptor, const std::string& name, std::string& bytes, InputError& error);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_FILE_BYTES_H_
