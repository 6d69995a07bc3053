#include "host_libraries.h"

#include <cstdarg>
#include <cstdio>

#include "common/expr.h"
#include "common/protobuf_field_resolver.h"

Host& TheHost() {
    static Host host;
    return host;
}

int LogCanWrite(LogCategory* /*category*/, int32_t priority, uint32_t id, uint32_t cls) {
    TheHost().questions.push_back(std::to_string(priority) + ' ' + std::to_string(id) + ' ' + std::to_string(cls));
    return TheHost().canWrite;
}

void LogWriteV(LogCategory* category, LogEvent* event, const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    const LogLocation& location = *event->evt_loc;
    TheHost().lines.push_back({category, event->evt_priority, location.loc_file, location.loc_line,
                               location.loc_function, location.loc_data, text});
}

namespace OstraneCommon {

bool ExprVariant::Cast(uint64_t& val) const {
    val = TheHost().bits;
    return TheHost().isCastTaken;
}

bool ExprVariant::Cast(double& val) const {
    val = TheHost().number;
    return TheHost().isCastTaken;
}

bool ExprVariant::CastRef(const std::string*& val) const {
    val = TheHost().text;
    return TheHost().isCastTaken;
}

std::string ExprVariant::ToStr() const {
    ++TheHost().textsMade;
    return "<value>";
}

std::string Expr::ToStr() const {
    ++TheHost().textsMade;
    return "<tree>";
}

int Expr::FindArrayMatchPositions(ExprResolver& /*resolver*/, ExprVariant& /*arrayVar*/, IndexRangeList& /*vecRange*/,
                                  std::vector<bool>& /*vecMatch*/, int& /*matchCount*/, int& /*minMatch*/,
                                  std::string& errmsg) {
    errmsg = "<reason>";
    return TheHost().matchResult;
}

int ParseIndexRange(const std::string& /*text*/, IndexRangeList& out) {
    out.emplace_back(0, -1);
    return 0;
}

// A resolver that supports nothing.
ExprResolver::~ExprResolver() = default;
int ExprResolver::Resolve(ExprVariant*, ExprVariant&) {
    return -1;
}
bool ExprResolver::Cast(ExprVariant&, ExprVariant&) {
    return false;
}
bool ExprResolver::IsDeltaRecord() {
    return false;
}
bool ExprResolver::IsStruct(ExprVariant&) {
    return false;
}
bool ExprResolver::IsArray(ExprVariant&) {
    return false;
}
bool ExprResolver::IsMap(ExprVariant&) {
    return false;
}
int ExprResolver::ArraySize(ExprVariant&) {
    return -1;
}
int ExprResolver::MapSize(ExprVariant&) {
    return -1;
}
int ExprResolver::ArrayGet(ExprVariant&, int, ExprVariant&) {
    return -1;
}
int ExprResolver::ArrayGetRange(ExprVariant&, Expr&, ExprVariant&) {
    return -1;
}
int ExprResolver::ArrayGetFirst(ExprVariant&, ExprVariant&, bool, bool&) {
    return -1;
}
int ExprResolver::MapFind(ExprVariant&, Expr&, ExprVariant&, bool, bool&) {
    return -1;
}
int ExprResolver::Update(ExprVariant&, ExprType, ExprVariant*) {
    return -1;
}
int ExprResolver::ArrayUpdate(ExprVariant&, Expr&, ExprType, ExprVariant*) {
    return -1;
}
int ExprResolver::MapUpdate(ExprVariant&, Expr&, ExprType, ExprVariant*) {
    return -1;
}
int ExprResolver::ApplyMapUpdate(ExprVariant&) {
    return 0;
}

ProtobuFieldResolver::ProtobuFieldResolver(const ProtobufRecord& record) : m_record(record) {}
ProtobuFieldResolver::~ProtobuFieldResolver() = default;
int ProtobuFieldResolver::Resolve(ExprVariant*, ExprVariant&) {
    return -1;
}
bool ProtobuFieldResolver::IsStruct(ExprVariant&) {
    return false;
}
bool ProtobuFieldResolver::IsArray(ExprVariant&) {
    return false;
}
bool ProtobuFieldResolver::IsMap(ExprVariant&) {
    return false;
}
int ProtobuFieldResolver::ArraySize(ExprVariant&) {
    return -1;
}
int ProtobuFieldResolver::MapSize(ExprVariant&) {
    return -1;
}
int ProtobuFieldResolver::ArrayGet(ExprVariant&, int, ExprVariant&) {
    return -1;
}
int ProtobuFieldResolver::MapFind(ExprVariant&, Expr&, ExprVariant&, bool, bool&) {
    return -1;
}

}  // namespace OstraneCommon
