#include "record/record_file.h"

#include <new>
#include <utility>

#include "common/err_code.h"
#include "record/file_bytes.h"

namespace OstraneRecord {

namespace {

int Load(const std::string& file, const Schema& schema, const std::string& type, const CodecOptions& options,
         std::unique_ptr<google::protobuf::Message>& out, InputError& error) {
    error.file = file;
    RecordFormat format = RecordFormat::Json;
    if (!FormatOfFile(file, format)) {
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "the ending of the file's name names no format",
                         "one record has .json, .txtpb or .pb");
    }
    if (IsStream(format)) {
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "the file holds any number of records, not one");
    }
    const google::protobuf::Descriptor* const descriptor = schema.FindType(type, error);
    std::string bytes;
    if (descriptor == nullptr || ReadFileBytes(file, bytes, error) != 0) {
        return error.code;
    }
    std::unique_ptr<google::protobuf::Message> read = schema.NewRecord(descriptor);
    if (read == nullptr) {
        // A factory that once ran out of memory while it prepared the type makes no record of it any more.
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "no record of " + type + " can be made");
    }
    if (DecodeRecord(format, bytes.data(), bytes.size(), options, *read, error) != 0) {
        error.file = file;
        return error.code;
    }
    out = std::move(read);
    return 0;
}

}  // namespace

int LoadRecordFile(const std::string& file, const Schema& schema, const std::string& type, const CodecOptions& options,
                   std::unique_ptr<google::protobuf::Message>& out, InputError& error) {
    error = InputError();
    try {
        return Load(file, schema, type, options, out, error);
    } catch (const std::bad_alloc&) {
        // Told without the file's name, which would need memory too.
        error = InputError();
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "out of memory");
    }
}

}  // namespace OstraneRecord
