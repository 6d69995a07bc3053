#include "host_libraries.h"

#include <cstdarg>
#include <cstdio>

#include "common/expr.h"
#include "common/protobuf_field_resolver.h"

Host& TheHost() {
    static Host host;
    return host;
}

namespace {

// Counts a call of the expression library; whether it is the one to fail.
bool IsToFail() {
    return ++TheHost().calls == TheHost().failingCall;
}

}  // namespace

int LogCanWrite(LogCategory* /*category*/, int32_t priority, uint32_t id, uint32_t cls) {
    TheHost().questions.push_back(std::to_string(priority) + ' ' + std::to_string(id) + ' ' + std::to_string(cls));
    return TheHost().questions.size() == TheHost().refusedQuestion ? 0 : TheHost().canWrite;
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
    return !IsToFail() && TheHost().isCastTaken;
}

bool ExprVariant::Cast(double& val) const {
    val = TheHost().number;
    return !IsToFail() && TheHost().isCastTaken;
}

bool ExprVariant::CastRef(const std::string*& val) const {
    val = TheHost().text;
    return !IsToFail() && TheHost().isCastTaken;
}

std::string ExprVariant::ToStr() const {
    ++TheHost().textsMade;
    return "<value>";
}

std::string Expr::ToStr() const {
    ++TheHost().textsMade;
    return "<tree>";
}

int Expr::FindArrayMatchPositions(ExprResolver& resolver, ExprVariant& arrayVar, IndexRangeList& vecRange,
                                  std::vector<bool>& vecMatch, int& matchCount, int& minMatch, std::string& errmsg) {
    TheHost().matches.push_back({&static_cast<ProtobuFieldResolver&>(resolver).Record(), m_self.m_type, arrayVar.m_type,
                                 arrayVar.m_data.pb, vecRange, vecMatch.size(), matchCount, minMatch});
    errmsg = "<reason>";
    if (IsToFail()) {
        return HOST_MATCH_FAILED;
    }
    if (TheHost().whileMatching) {
        TheHost().whileMatching();
    }
    if (TheHost().isEveryElementMarked) {
        // The callers give the number of elements.
        vecMatch.assign(static_cast<size_t>(minMatch), true);
        matchCount = minMatch;
        minMatch = 0;
    }
    return TheHost().matchResult;
}

int ParseIndexRange(const std::string& /*text*/, IndexRangeList& out) {
    out.emplace_back(0, -1);
    return IsToFail() ? -1 : TheHost().parseResult;
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
