#include "record/plan_path.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <set>
#include <utility>

#include "expr/name_hint.h"

namespace OstraneRecord {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using OstraneCommon::Expr;
using OstraneCommon::PathStep;
using OstraneCommon::StatementKind;

// Of a user's text in a message, in bytes.
constexpr size_t SHOWN_TEXT = 100;

// A name as a message shows it: what is longer than any name is cut.
std::string CutName(const std::string& name) {
    return name.size() <= SHOWN_TEXT ? name : name.substr(0, SHOWN_TEXT) + "..";
}

int AddIndexUse(const Expr* question, CompiledStatements& compiled, int statement, const Place& place) {
    ParameterUse use;
    use.kind = ParameterUse::Kind::Index;
    use.question = question;
    use.slot = compiled.indexSlots++;
    use.statement = statement;
    use.place = place;
    compiled.parameterUses.push_back(use);
    return use.slot;
}

int32_t ClampIndex(bool isNegative, uint64_t bits) {
    if (isNegative) {
        const int64_t number = static_cast<int64_t>(bits);
        return number < std::numeric_limits<int32_t>::min() ? std::numeric_limits<int32_t>::min()
                                                            : static_cast<int32_t>(number);
    }
    return bits > static_cast<uint64_t>(std::numeric_limits<int32_t>::max()) ? std::numeric_limits<int32_t>::max()
                                                                             : static_cast<int32_t>(bits);
}

// A lone number or parameter. False when the node is neither.
bool ToIndex(const Expr& node, CompiledStatements& compiled, int statement, const Place& place, PlanIndex& out) {
    out.place = place;
    switch (node.m_self.m_type) {
        case OstraneCommon::EXPR_UINT:
            if ((node.m_self.m_flags & OstraneCommon::EXPR_FLAG_BOOL) != 0) {
                return false;
            }
            out.value = ClampIndex(false, node.m_self.m_data.valUInt64);
            return true;
        case OstraneCommon::EXPR_INT:
            out.value = ClampIndex(node.m_self.m_data.valInt64 < 0, static_cast<uint64_t>(node.m_self.m_data.valInt64));
            return true;
        case OstraneCommon::EXPR_UINT_STRING:
        case OstraneCommon::EXPR_INT_STRING:
            out.value = !node.m_self.m_str.empty() && node.m_self.m_str.front() == '-'
                            ? std::numeric_limits<int32_t>::min()
                            : std::numeric_limits<int32_t>::max();
            return true;
        case OstraneCommon::EXPR_QUESTION:
            out.slot = AddIndexUse(&node, compiled, statement, place);
            return true;
        default:
            return false;
    }
}

// One end of a range of a selector's canonical text: digits, or the mark of the next parameter.
PlanIndex ToRangeEnd(const std::string& end, int32_t whenEmpty, const Expr& selector, size_t& nextOperand,
                     CompiledStatements& compiled, int statement, const Place& place) {
    PlanIndex index;
    index.place = place;
    if (end.empty()) {
        index.value = whenEmpty;
        return index;
    }
    const bool isNumber = end.front() == '-' || (end.front() >= '0' && end.front() <= '9');
    if (!isNumber && nextOperand < selector.OperandCount()) {
        const Expr* question = selector.Operand(static_cast<int>(nextOperand));
        ++nextOperand;
        index.place = TokenAt(compiled.text, question->m_self.m_tokenOffset);
        index.slot = AddIndexUse(question, compiled, statement, index.place);
        return index;
    }
    // strtoll stops at the largest and smallest number, which the clamp takes as they are.
    const long long number = std::strtoll(end.c_str(), nullptr, 10);
    index.value = ClampIndex(number < 0, static_cast<uint64_t>(number));
    return index;
}

std::string Trim(const std::string& text) {
    const size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) {
        return std::string();
    }
    return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

void ToRanges(const Expr& selector, CompiledStatements& compiled, int statement, const Place& place,
              std::vector<PlanRange>& out) {
    const std::string& text = selector.m_self.m_str;
    size_t nextOperand = 0;
    size_t begin = 0;
    while (begin <= text.size()) {
        size_t end = text.find(',', begin);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string piece = Trim(text.substr(begin, end - begin));
        begin = end + 1;
        PlanRange range;
        const size_t dots = piece.find("..");
        if (piece == "*") {
            range.first.value = 0;
            range.last.value = -1;
            range.first.place = range.last.place = place;
        } else if (dots == std::string::npos) {
            range.isLone = true;
            range.first = ToRangeEnd(piece, 0, selector, nextOperand, compiled, statement, place);
        } else {
            range.first = ToRangeEnd(Trim(piece.substr(0, dots)), 0, selector, nextOperand, compiled, statement, place);
            range.last =
                ToRangeEnd(Trim(piece.substr(dots + 2)), -1, selector, nextOperand, compiled, statement, place);
        }
        out.push_back(range);
    }
}

// Where the brackets of a step stand, from the token in them.
Place SubscriptPlace(const CompiledStatements& compiled, const PathStep& step) {
    Place place = TokenAt(compiled.text, step.subscript->m_self.m_tokenOffset);
    if (step.subscript->m_self.m_type == OstraneCommon::EXPR_INDEX_RANGE) {
        // The ranges without their brackets and the blanks around them.
        const size_t begin = compiled.text.find_first_not_of(" \t\r\n", place.offset + 1);
        const size_t close = compiled.text.find(']', place.offset);
        if (begin < close && close != std::string::npos) {
            place.offset = begin;
            place.length = compiled.text.find_last_not_of(" \t\r\n", close - 1) + 1 - begin;
        }
    }
    return place;
}

int ResolveSubscript(const PathStep& step, CompiledStatements& compiled, int statement, PlanStep& out,
                     Failure& failure) {
    if (step.subscript == nullptr) {
        return 0;
    }
    out.subscriptPlace = SubscriptPlace(compiled, step);
    if (!out.field->is_repeated()) {
        return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.subscriptPlace,
                    NameOf(out.field) + " is " + KindOf(out.field) + ", not repeated: it takes no [..]", "", out.field);
    }
    if (out.field->is_map()) {
        if (step.subscript->m_self.m_type == OstraneCommon::EXPR_INDEX_RANGE) {
            return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.subscriptPlace,
                        NameOf(out.field) + " is a map, which takes one key and no selector", "", out.field);
        }
        out.subscript = SubscriptKind::Key;
        return ResolveKey(step.subscript, out.field, compiled, statement, out.subscriptPlace, out.key, out.keySlot,
                          failure);
    }
    if (step.subscript->m_self.m_type == OstraneCommon::EXPR_INDEX_RANGE) {
        out.subscript = SubscriptKind::Ranges;
        ToRanges(*step.subscript, compiled, statement, out.subscriptPlace, out.ranges);
        return 0;
    }
    if (!ToIndex(*step.subscript, compiled, statement, out.subscriptPlace, out.index)) {
        return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.subscriptPlace,
                    NameOf(out.field) + " is no map: its elements have positions, not keys", "", out.field);
    }
    out.subscript = SubscriptKind::Index;
    return 0;
}

// How a path goes through a map: the name behind it is a field of the values, or else a key that lost its brackets.
std::string KeyHint(const FieldDescriptor* map, const std::string& next) {
    const FieldDescriptor* const key = map->message_type()->FindFieldByNumber(1);
    const FieldDescriptor* const value = map->message_type()->FindFieldByNumber(2);
    const bool isText = key->cpp_type() == FieldDescriptor::CPPTYPE_STRING;
    const std::string name(map->name());
    if (value->message_type() != nullptr && value->message_type()->FindFieldByName(next) != nullptr) {
        const bool isBool = key->cpp_type() == FieldDescriptor::CPPTYPE_BOOL;
        return "write " + name + (isText ? "['key']." : isBool ? "[true]." : "[0].") + next;
    }
    return isText ? "write " + name + "['" + next + "']" : "";
}

// What is written instead of a selector on the way to a field.
std::string SelectorHint(const PlanStep& step, const PathStep& first, const CompiledStatements& compiled,
                         int statement) {
    const std::string rule = "a selector before the last step works in SET alone";
    const bool isGet = compiled.list.statements[static_cast<size_t>(statement) - 1].kind == StatementKind::Get;
    const size_t begin = static_cast<size_t>(first.offset);
    const size_t close = compiled.text.find(']', step.subscriptPlace.offset);
    if (isGet && !first.isExtension && close - begin <= SHOWN_TEXT) {
        return "GET " + compiled.text.substr(begin, close + 1 - begin) + " gives whole elements; " + rule;
    }
    return "write " + CutName(std::string(step.field->name())) + "[0]; " + rule + ", and once";
}

// What a step before the last must be: one message.
int CheckOnTheWay(const PlanStep& step, const std::string& next, bool maySelect, Failure& failure) {
    if (step.field->is_map() && step.subscript == SubscriptKind::None) {
        return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, step.place,
                    NameOf(step.field) + " is a map: the path needs a key to go on to '" + next + "'",
                    KeyHint(step.field, next), step.field);
    }
    if (step.MessageType() == nullptr) {
        return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, step.place,
                    NameOf(step.field) + " is " + KindOf(step.field) + ", which has no field '" + next + "'", "",
                    step.field);
    }
    if (!step.field->is_repeated() || step.subscript == SubscriptKind::Index || step.subscript == SubscriptKind::Key) {
        return 0;
    }
    const std::string name(step.field->name());
    if (step.subscript == SubscriptKind::None) {
        return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, step.place,
                    NameOf(step.field) + " is repeated: the path needs an index to go on to '" + next + "'",
                    maySelect ? "write " + name + "[0], or " + name + "[*] for all" : "write " + name + "[0]",
                    step.field);
    }
    return 0;
}

// The message types of the fields of `type`, itself not counted unless it holds itself. Not recursive: a
// schema may chain any number of types.
std::set<const Descriptor*> TypesBelow(const Descriptor* type) {
    std::set<const Descriptor*> found;
    std::vector<const Descriptor*> pending{type};
    while (!pending.empty()) {
        const Descriptor* current = pending.back();
        pending.pop_back();
        for (int i = 0; i < current->field_count(); ++i) {
            const Descriptor* next = current->field(i)->message_type();
            if (next != nullptr && found.insert(next).second) {
                pending.push_back(next);
            }
        }
    }
    return found;
}

// An extension may bring messages of any type into this one.
bool IsExtendable(const Descriptor* type) {
    return type->extension_range_count() > 0;
}

// Whether `type` can hold itself.
bool IsRecursive(const Descriptor* type) {
    const std::set<const Descriptor*> types = TypesBelow(type);
    return types.count(type) > 0 || IsExtendable(type) || std::any_of(types.begin(), types.end(), IsExtendable);
}

bool HasRequiredField(const Descriptor* type) {
    for (int i = 0; i < type->field_count(); ++i) {
        if (type->field(i)->is_required()) {
            return true;
        }
    }
    return false;
}

}  // namespace

int FindField(const Descriptor* type, const std::string& name, bool isExtension, const Place& place,
              const FieldDescriptor*& out, Failure& failure) {
    if (isExtension) {
        out = type->file()->pool()->FindExtensionByName(name);
        if (out == nullptr) {
            return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
                        "there is no extension '" + CutName(name) + "'");
        }
        if (out->containing_type() != type) {
            const std::string extended(out->containing_type()->full_name());
            out = nullptr;
            return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
                        "the extension '" + CutName(name) + "' extends " + extended + ", not " +
                            std::string(type->full_name()));
        }
        return 0;
    }
    out = type->FindFieldByName(name);
    if (out != nullptr) {
        return 0;
    }
    return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
                std::string(type->full_name()) + " has no field '" + CutName(name) + "'",
                OstraneCommon::FieldHint(type, name));
}

int ResolveKey(Expr* key, const FieldDescriptor* map, CompiledStatements& compiled, int statement, const Place& place,
               FieldValue& value, int& slot, Failure& failure) {
    const FieldDescriptor* keyField = map->message_type()->FindFieldByNumber(1);
    if (key->m_self.m_type == OstraneCommon::EXPR_QUESTION) {
        ParameterUse use;
        use.kind = ParameterUse::Kind::Key;
        use.question = key;
        use.field = keyField;
        use.slot = slot = compiled.valueSlots++;
        use.statement = statement;
        use.place = place;
        compiled.parameterUses.push_back(use);
        return 0;
    }
    Misfit misfit;
    const int ret = ConvertValue(key->m_self, keyField, false, value, misfit);
    if (ret != 0) {
        return Fail(failure, ret, place,
                    ShowValue(key->m_self) + " is no key of " + NameOf(map) + ", whose keys are " +
                        std::string(keyField->type_name()),
                    misfit.hint, map);
    }
    return 0;
}

int ResolvePath(const OstraneCommon::StatementPath& path, CompiledStatements& compiled, int statement,
                int* selectorStep, PlanPath& out, Failure& failure) {
    const Descriptor* type = compiled.descriptor;
    int depth = 1;
    if (selectorStep != nullptr) {
        *selectorStep = -1;
    }
    for (size_t i = 0; i < path.steps.size(); ++i) {
        const PathStep& written = path.steps[i];
        PlanStep step;
        step.place = TokenAt(compiled.text, written.offset);
        if (written.isExtension) {
            step.place.length = written.name.size();
        }
        int ret = FindField(type, written.name, written.isExtension, step.place, step.field, failure);
        if (ret != 0) {
            return ret;
        }
        step.isMap = step.field->is_map();
        step.isMessage = step.field->message_type() != nullptr;
        ret = ResolveSubscript(written, compiled, statement, step, failure);
        if (ret != 0) {
            return ret;
        }
        const bool isLast = i + 1 == path.steps.size();
        if (!isLast) {
            const bool maySelect = selectorStep != nullptr && *selectorStep < 0;
            const std::string next = CutName(path.steps[i + 1].name);
            ret = CheckOnTheWay(step, next, maySelect, failure);
            if (ret != 0) {
                return ret;
            }
            if (step.subscript == SubscriptKind::Ranges && !maySelect) {
                return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, step.subscriptPlace,
                            "only one index may stand on the way to '" + next + "'",
                            SelectorHint(step, path.steps[0], compiled, statement), step.field);
            }
            if (step.subscript == SubscriptKind::Ranges) {
                *selectorStep = static_cast<int>(i);
            }
            type = step.MessageType();
        }
        depth += (isLast ? 0 : 1) + (step.IsMapValue() ? 1 : 0);
        if (depth > kMaxRecordDepth) {
            return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX, step.place,
                        "the path is deeper than " + std::to_string(kMaxRecordDepth) + " messages");
        }
        out.push_back(std::move(step));
    }
    return 0;
}

int PathDepth(const PlanPath& path) {
    int depth = static_cast<int>(path.size());
    for (const PlanStep& step : path) {
        depth += step.IsMapValue() ? 1 : 0;
    }
    return depth;
}

bool HasRequiredFields(const Descriptor* type) {
    if (HasRequiredField(type) || IsExtendable(type)) {
        return true;
    }
    const std::set<const Descriptor*> types = TypesBelow(type);
    return std::any_of(types.begin(), types.end(),
                       [](const Descriptor* below) { return HasRequiredField(below) || IsExtendable(below); });
}

bool MayNestTooDeep(const Descriptor* type, const PlanPath& path) {
    // Types that do not hold themselves lie in each other at most once each.
    const int deepest = static_cast<int>(TypesBelow(type).size()) + 1;
    return IsRecursive(type) || PathDepth(path) + deepest > kMaxRecordDepth;
}

}  // namespace OstraneRecord
