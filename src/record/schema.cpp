// A schema is a pool of descriptors over a database of files, and a factory of messages over the pool. The
// database looks for a file where the schema came from, and else among the files compiled into the program:
// that is how protobuf's own files are found on any machine.
#include "record/schema.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/api.pb.h>
#include <google/protobuf/compiler/importer.h>
#include <google/protobuf/compiler/plugin.pb.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/duration.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/empty.pb.h>
#include <google/protobuf/field_mask.pb.h>
#include <google/protobuf/source_context.pb.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/timestamp.pb.h>
#include <google/protobuf/type.pb.h>
#include <google/protobuf/wrappers.pb.h>

#include <cstddef>
#include <filesystem>
#include <map>
#include <new>
#include <set>
#include <utility>

#include "common/err_code.h"
#include "expr/name_hint.h"
#include "record/codec.h"
#include "record/file_bytes.h"

namespace OstraneRecord {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::Message;
using OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
using OstraneErrCode::GEN_ERR_ERR;

namespace {

#if GOOGLE_PROTOBUF_VERSION >= 6030000
using DatabaseName = absl::string_view;
#else
using DatabaseName = const std::string&;
#endif

// Protobuf's own files. Asking each for its descriptor also keeps a static link from leaving it out.
std::vector<const FileDescriptor*> OwnFiles() {
    return {
        google::protobuf::Any::descriptor()->file(),
        google::protobuf::Api::descriptor()->file(),
        google::protobuf::compiler::CodeGeneratorRequest::descriptor()->file(),
        google::protobuf::FileDescriptorSet::descriptor()->file(),
        google::protobuf::Duration::descriptor()->file(),
        google::protobuf::Empty::descriptor()->file(),
        google::protobuf::FieldMask::descriptor()->file(),
        google::protobuf::SourceContext::descriptor()->file(),
        google::protobuf::Struct::descriptor()->file(),
        google::protobuf::Timestamp::descriptor()->file(),
        google::protobuf::Type::descriptor()->file(),
        google::protobuf::DoubleValue::descriptor()->file(),
    };
}

// What the importer and the pool complain about, in their order. Places count from 0 there, and a line of
// -1 means the whole file.
class ErrorList : public google::protobuf::compiler::MultiFileErrorCollector, public DescriptorPool::ErrorCollector {
public:
#if GOOGLE_PROTOBUF_VERSION >= 4022000
    void RecordError(absl::string_view file, int line, int column, absl::string_view message) override {
        Add(std::string(file), line, column, std::string(message));
    }
    void RecordError(absl::string_view file, absl::string_view element, const Message*, ErrorLocation,
                     absl::string_view message) override {
        Add(std::string(file), -1, -1, std::string(element) + ": " + std::string(message));
    }
#else
    void AddError(const std::string& file, int line, int column, const std::string& message) override {
        Add(file, line, column, message);
    }
    void AddError(const std::string& file, const std::string& element, const Message*, ErrorLocation,
                  const std::string& message) override {
        Add(file, -1, -1, element + ": " + message);
    }
#endif

    const std::vector<InputError>& Errors() const {
        return m_errors;
    }

private:
    void Add(const std::string& file, int line, int column, std::string message) {
        while (!message.empty() && (message.back() == '.' || message.back() == ' ')) {
            message.pop_back();
        }
        InputError error;
        error.file = file;
        error.line = line < 0 ? 0 : static_cast<size_t>(line) + 1;
        error.column = line < 0 || column < 0 ? 0 : static_cast<size_t>(column) + 1;
        FailInput(error, GEN_ERR_ERR, message);
        m_errors.push_back(error);
    }

    std::vector<InputError> m_errors;
};

// The files of a schema by their import names.
class FileDatabase : public google::protobuf::DescriptorDatabase {
public:
    FileDatabase(google::protobuf::compiler::DiskSourceTree& tree, ErrorList& errors) : m_tree(tree), m_parsed(&tree) {
        m_parsed.RecordErrorsTo(&errors);
    }

    DescriptorPool::ErrorCollector* PlacingCollector() { return m_parsed.GetValidationErrorCollector(); }
    void AddFile(const FileDescriptorProto& file) { m_files[file.name()] = &file; }

    bool FindFileByName(DatabaseName name, FileDescriptorProto* output) override {
        const std::string fileName(name);
        const auto found = m_files.find(fileName);
        if (found != m_files.end()) {
            *output = *found->second;
            return true;
        }
        if (IsOnDisk(fileName)) {
            return m_parsed.FindFileByName(fileName, output);
        }
        const FileDescriptor* const generated = DescriptorPool::generated_pool()->FindFileByName(fileName);
        if (generated != nullptr) {
            generated->CopyTo(output);
            generated->CopyJsonNameTo(output);
            return true;
        }
        // Tells that the file is not there.
        return m_parsed.FindFileByName(fileName, output);
    }
    bool FindFileContainingSymbol(DatabaseName, FileDescriptorProto*) override { return false; }
    bool FindFileContainingExtension(DatabaseName, int, FileDescriptorProto*) override { return false; }

private:
    // A file that may not be read is there all the same, and must not be passed over for another one.
    bool IsOnDisk(const std::string& name) {
        std::string path;
        return m_tree.VirtualFileToDiskFile(name, &path) || std::filesystem::exists(path, m_ignored);
    }

    google::protobuf::compiler::DiskSourceTree& m_tree;
    google::protobuf::compiler::SourceTreeDescriptorDatabase m_parsed;
    std::map<std::string, const FileDescriptorProto*> m_files;
    std::error_code m_ignored;
};

bool IsFile(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored) && !std::filesystem::is_directory(path, ignored);
}

// Names one file below the roots, or by its own path.
//   player.proto, roots {}            root ".",        player.proto
//   protos/player.proto, roots {}     root "protos",   player.proto
//   protos/a/b.proto, {"protos"}      a/b.proto
//   a/b.proto, {"protos"}             a/b.proto, when protos/a/b.proto is there
class FileNaming {
public:
    FileNaming(google::protobuf::compiler::DiskSourceTree& tree, const std::vector<std::string>& roots)
        : m_tree(tree), m_roots(roots) {}

    int MapRoots(const std::string& file, InputError& error) {
        for (const std::string& root : m_roots) {
            std::error_code ignored;
            if (!std::filesystem::is_directory(root, ignored)) {
                error.file = root;
                return FailInput(error, GEN_ERR_ERR, "no such folder, which should be a root of imports");
            }
        }
        if (m_roots.empty()) {
            const std::string parent = std::filesystem::path(file).parent_path().string();
            m_roots.push_back(parent.empty() ? "." : parent);
        }
        for (const std::string& root : m_roots) {
            m_tree.MapPath("", root);
        }
        return 0;
    }

    // The name under which the tree knows the file; empty when it is neither here nor below a root.
    std::string ImportName(const std::string& file) {
        if (!IsFile(file)) {
            std::string path;
            return m_tree.VirtualFileToDiskFile(file, &path) ? file : std::string();
        }
        std::string name;
        std::string shadowing;
        const auto result = m_tree.DiskFileToVirtualFile(file, &name, &shadowing);
        if (result == google::protobuf::compiler::DiskSourceTree::SUCCESS ||
            result == google::protobuf::compiler::DiskSourceTree::CANNOT_OPEN) {
            return name;
        }
        // Below no root, or hidden by a file of the same name below an earlier one: a name of its own.
        name = std::filesystem::path(file).filename().string();
        m_tree.MapPath(name, file);
        return name;
    }

    std::string ShowRoots() const {
        std::string shown;
        for (const std::string& root : m_roots) {
            shown += (shown.empty() ? "'" : ", '") + root + "'";
        }
        return shown;
    }

private:
    google::protobuf::compiler::DiskSourceTree& m_tree;
    std::vector<std::string> m_roots;
};

void CollectFiles(const FileDescriptor* file, std::set<const FileDescriptor*>& known,
                  std::vector<const FileDescriptor*>& files) {
    if (!known.insert(file).second) {
        return;
    }
    files.push_back(file);
    for (int i = 0; i < file->dependency_count(); ++i) {
        CollectFiles(file->dependency(i), known, files);
    }
}

void CollectTypeNames(const Descriptor* type, std::vector<std::string>& names) {
    if (type->options().map_entry()) {
        return;
    }
    names.emplace_back(type->full_name());
    for (int i = 0; i < type->nested_type_count(); ++i) {
        CollectTypeNames(type->nested_type(i), names);
    }
}

}  // namespace

// Members are destroyed from the last to the first: the factory before the pool, the pool before the
// database that it asks.
struct SchemaState {
    google::protobuf::compiler::DiskSourceTree tree;
    google::protobuf::FileDescriptorSet set;
    ErrorList errors;
    std::unique_ptr<FileDatabase> database;
    std::unique_ptr<DescriptorPool> ownPool;
    std::unique_ptr<google::protobuf::DynamicMessageFactory> ownFactory;
    const DescriptorPool* pool = nullptr;
    google::protobuf::MessageFactory* factory = nullptr;
    std::vector<const FileDescriptor*> files;  // the loaded ones with all their imports

    SchemaState() : database(new FileDatabase(tree, errors)) {}

    void MakePool(DescriptorPool::ErrorCollector* collector) {
        ownPool.reset(new DescriptorPool(database.get(), collector));
        ownFactory.reset(new google::protobuf::DynamicMessageFactory(ownPool.get()));
        pool = ownPool.get();
        factory = ownFactory.get();
    }

    void UseGenerated(const std::vector<const FileDescriptor*>& wanted) {
        pool = DescriptorPool::generated_pool();
        factory = google::protobuf::MessageFactory::generated_factory();
        AddFiles(wanted);
    }

    void AddFiles(const std::vector<const FileDescriptor*>& wanted) {
        std::set<const FileDescriptor*> known(files.begin(), files.end());
        for (const FileDescriptor* file : wanted) {
            CollectFiles(file, known, files);
        }
    }

    // The complaint that explains the others, with the path that the user knows.
    int Explain(const std::string& shownRoots, InputError& error) {
        const std::vector<InputError>& all = errors.Errors();
        if (all.empty()) {
            return FailInput(error, GEN_ERR_ERR, "the schema cannot be loaded");
        }
        error = all.front();
        // A file that is not there is told at the import that asks for it.
        const std::string quoted = "Import \"" + error.file + "\"";
        for (const InputError& other : all) {
            if (error.line != 0 || other.message.compare(0, quoted.size(), quoted) != 0) {
                continue;
            }
            const bool isMissing = error.message.compare(0, 14, "File not found") == 0;
            const std::string name = error.file;
            const std::string reason = error.message;
            error = other;
            error.message = "the import \"" + name + (isMissing ? "\" is not found" : "\" cannot be read: " + reason);
            error.hint = isMissing ? "looked below " + shownRoots : std::string();
            break;
        }
        std::string path;
        if (tree.VirtualFileToDiskFile(error.file, &path) || !path.empty()) {
            error.file = path;
        }
        return error.code;
    }
};

Schema::Schema() = default;
Schema::~Schema() = default;

namespace {

int ImportInto(SchemaState& state, const std::string& file, const std::vector<std::string>& roots, InputError& error) {
    FileNaming naming(state.tree, roots);
    if (naming.MapRoots(file, error) != 0) {
        return error.code;
    }
    const std::string name = naming.ImportName(file);
    if (name.empty()) {
        OwnFiles();
        const FileDescriptor* const generated = DescriptorPool::generated_pool()->FindFileByName(file);
        if (generated != nullptr) {
            state.UseGenerated({generated});
            return 0;
        }
        error.file = file;
        return FailInput(error, GEN_ERR_ERR,
                         std::filesystem::is_directory(file) ? "a folder, not a .proto file" : "no such file",
                         roots.empty() ? std::string() : "nor is it below " + naming.ShowRoots());
    }
    state.MakePool(state.database->PlacingCollector());
    const FileDescriptor* const loaded = state.ownPool->FindFileByName(name);
    if (loaded == nullptr || !state.errors.Errors().empty()) {
        return state.Explain(naming.ShowRoots(), error);
    }
    state.AddFiles({loaded});
    return 0;
}

int ImportSetInto(SchemaState& state, const char* bytes, size_t size, const std::string& name, InputError& error) {
    if (DecodeRecord(RecordFormat::Binary, bytes, size, CodecOptions(), state.set, error) != 0) {
        error.file = name;
        error.message = "no descriptor set: " + error.message;
        return error.code;
    }
    error.file = name;
    if (state.set.file_size() == 0) {
        return FailInput(error, GEN_ERR_ERR, "the descriptor set holds no files");
    }
    std::set<std::string> names;
    for (const FileDescriptorProto& file : state.set.file()) {
        if (!names.insert(file.name()).second) {
            return FailInput(error, GEN_ERR_ERR, "the descriptor set holds the file '" + file.name() + "' twice");
        }
        state.database->AddFile(file);
    }
    OwnFiles();
    state.MakePool(&state.errors);
    for (const std::string& fileName : names) {
        const FileDescriptor* const loaded = state.ownPool->FindFileByName(fileName);
        if (loaded == nullptr || !state.errors.Errors().empty()) {
            state.Explain(std::string(), error);
            const std::string culprit = error.file;
            error.file = name;
            if (names.count(culprit) == 0) {
                return FailInput(error, GEN_ERR_ERR, "the descriptor set lacks the imported file '" + culprit + "'",
                                 "protoc adds imports with --include_imports");
            }
            error.message = "the file '" + culprit + "' of the set: " + error.message;
            return error.code;
        }
        state.AddFiles({loaded});
    }
    return 0;
}

// Runs a load on a new state, which becomes the schema's when all went well.
template <typename Load>
int RunLoad(std::unique_ptr<SchemaState>& target, InputError& error, Load load) {
    error = InputError();
    try {
        std::unique_ptr<SchemaState> state(new SchemaState());
        const int code = load(*state);
        target = code == 0 ? std::move(state) : nullptr;
        return code;
    } catch (const std::bad_alloc&) {
        target.reset();
        error = InputError();
        return FailInput(error, GEN_ERR_ERR, "out of memory");  // what needs none
    } catch (const std::exception& exception) {
        target.reset();
        return FailInput(error, GEN_ERR_ERR, std::string("the schema cannot be loaded: ") + exception.what());
    }
}

}  // namespace

int Schema::ImportProto(const std::string& file, const std::vector<std::string>& roots, InputError& error) {
    return RunLoad(m_pState, error, [&](SchemaState& state) { return ImportInto(state, file, roots, error); });
}

int Schema::ImportDescriptorSet(const std::string& file, InputError& error) {
    return RunLoad(m_pState, error, [&](SchemaState& state) {
        std::string bytes;
        const int code = ReadFileBytes(file, bytes, error);
        return code != 0 ? code : ImportSetInto(state, bytes.data(), bytes.size(), file, error);
    });
}

int Schema::ImportDescriptorSetBytes(const char* bytes, size_t size, const std::string& name, InputError& error) {
    return RunLoad(m_pState, error, [&](SchemaState& state) { return ImportSetInto(state, bytes, size, name, error); });
}

void Schema::UseGenerated() {
    m_pState.reset(new SchemaState());
    m_pState->UseGenerated(OwnFiles());
}

const Descriptor* Schema::FindType(const std::string& name, InputError& error) const {
    error = InputError();
    const Descriptor* const type = m_pState == nullptr ? nullptr : m_pState->pool->FindMessageTypeByName(name);
    if (type != nullptr && !type->options().map_entry()) {
        return type;
    }
    if (m_pState != nullptr && m_pState->pool->FindEnumTypeByName(name) != nullptr) {
        FailInput(error, COMMON_ERR_INVALID_FIELD_NAME, "'" + name + "' is an enum: a record has a message type");
        return nullptr;
    }
    FailInput(error, COMMON_ERR_INVALID_FIELD_NAME, "the schema has no message type '" + name + "'",
              OstraneCommon::NameHint(name, TypeNames()));
    return nullptr;
}

std::vector<std::string> Schema::TypeNames() const {
    std::vector<std::string> names;
    if (m_pState == nullptr) {
        return names;
    }
    for (const FileDescriptor* file : m_pState->files) {
        for (int i = 0; i < file->message_type_count(); ++i) {
            CollectTypeNames(file->message_type(i), names);
        }
    }
    return names;
}

std::unique_ptr<Message> Schema::NewRecord(const Descriptor* type) const {
    const Message* const prototype = m_pState == nullptr ? nullptr : m_pState->factory->GetPrototype(type);
    return std::unique_ptr<Message>(prototype == nullptr ? nullptr : prototype->New());
}

google::protobuf::MessageFactory* Schema::Factory() const {
    return m_pState == nullptr ? nullptr : m_pState->factory;
}

}  // namespace OstraneRecord
