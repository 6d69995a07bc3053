// Binding of what a tree's leaves name: literals, parameters, fields.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "common/err_code.h"
#include "common/protobuf_field_resolver.h"
#include "expr/eval_bind.h"
#include "expr/name_hint.h"
#include "expr/number_text.h"

namespace OstraneCommon {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

namespace {

// Beyond every array, and safe to add a size to.
constexpr int64_t FAR_INDEX = int64_t{1} << 40;

ExprVariant Place(int32_t offset) {
    ExprVariant place;
    place.m_tokenOffset = offset;
    return place;
}

NodePtr ConstantOf(const Value& value, ValueKind kind) {
    NodePtr node = std::make_unique<ConstantNode>(value);
    node->type.kind = kind;
    node->type.mayBeNull = value.IsNull();
    return node;
}

bool NumberOfText(const std::string& text, Value& out) {
    uint64_t bits = 0;
    if (IntegerOfText(text, bits)) {
        const bool isNegative = text[0] == '-' && bits != 0;
        out = isNegative ? Value::Int(static_cast<int64_t>(bits)) : Value::UInt(bits);
        return true;
    }
    double number = 0;
    if (!DoubleOfText(text, number)) {
        return false;
    }
    out = Value::Double(number);
    return true;
}

// The number of an index or a key; one beyond 64 bits comes out infinite: beyond every array, and equal to
// no key.
bool SubscriptNumber(const ExprVariant& variant, Value& out) {
    switch (variant.m_type) {
        case EXPR_UINT:
            out = Value::UInt(variant.m_data.valUInt64);
            return (variant.m_flags & EXPR_FLAG_BOOL) == 0;
        case EXPR_INT:
            out = Value::Int(variant.m_data.valInt64);
            return true;
        case EXPR_UINT_STRING:
        case EXPR_INT_STRING: {
            if (!NumberOfText(variant.m_str, out)) {
                return false;
            }
            const double beyond = std::numeric_limits<double>::infinity();
            out = out.IsInteger() ? out : Value::Double(out.real < 0 ? -beyond : beyond);
            return true;
        }
        default:
            return false;
    }
}

int64_t IndexOf(const Value& number) {
    if (number.tag != Value::Tag::Int) {
        return number.tag == Value::Tag::Double && number.real < 0 ? -FAR_INDEX : FAR_INDEX;
    }
    return std::max(-FAR_INDEX, std::min(FAR_INDEX, number.int64));
}

const FieldDescriptor* FindField(const Descriptor* descriptor, const PathStep& step) {
    if (!step.isExtension) {
        return descriptor->FindFieldByName(step.name);
    }
    const FieldDescriptor* const extension = descriptor->file()->pool()->FindExtensionByName(step.name);
    return extension != nullptr && extension->containing_type() == descriptor ? extension : nullptr;
}

}  // namespace

NodePtr Binder::MakeText(const std::string& text, bool isBytes) {
    m_program.texts.push_back(text);
    const std::string& kept = m_program.texts.back();
    return ConstantOf(Value::Text(kept.data(), kept.size(), isBytes), isBytes ? ValueKind::Bytes : ValueKind::Text);
}

// A literal, or a value from outside.
NodePtr Binder::MakeConstant(const ExprVariant& variant, const ExprVariant& place) {
    NodePtr node;
    Value number;
    switch (variant.m_type) {
        case EXPR_UINT:
            node = (variant.m_flags & EXPR_FLAG_BOOL) != 0
                       ? ConstantOf(Value::Bool(variant.m_data.valUInt64 != 0), ValueKind::Bool)
                       : ConstantOf(Value::UInt(variant.m_data.valUInt64), ValueKind::Integer);
            break;
        case EXPR_INT:
        case EXPR_TIME:
            node = ConstantOf(Value::Int(variant.m_data.valInt64), ValueKind::Integer);
            break;
        case EXPR_FLOAT:
            node = ConstantOf(Value::Double(variant.m_data.valFloat), ValueKind::Double);
            break;
        case EXPR_UINT_STRING:
        case EXPR_INT_STRING:
        case EXPR_FLOAT_STRING:
            if (!NumberOfText(variant.m_str, number)) {
                return TypeError(place, "'" + variant.m_str + "' is no number");
            }
            node = ConstantOf(number, number.IsInteger() ? ValueKind::Integer : ValueKind::Double);
            break;
        case EXPR_STRING:
        case EXPR_BYTES_TEXT:
            node = MakeText(variant.m_str, false);
            static_cast<ConstantNode&>(*node).isBase64 = variant.m_type == EXPR_BYTES_TEXT;
            break;
        case EXPR_BYTES:
        case EXPR_BINARY_STRING:
            node = MakeText(variant.m_str, true);
            break;
        case EXPR_STRING_PTR:
            node = variant.m_data.pStr == nullptr ? ConstantOf(Value::Null(), ValueKind::Null)
                                                  : MakeText(*variant.m_data.pStr, false);
            break;
        case EXPR_CSTR:
            node = variant.m_data.pCStr == nullptr ? ConstantOf(Value::Null(), ValueKind::Null)
                                                   : MakeText(variant.m_data.pCStr, false);
            break;
        case EXPR_BUFF:
            node =
                variant.m_data.buff.ptr == nullptr
                    ? ConstantOf(Value::Null(), ValueKind::Null)
                    : MakeText(std::string(static_cast<const char*>(variant.m_data.buff.ptr), variant.m_data.buff.size),
                               true);
            break;
        case EXPR_NULL:
            node = ConstantOf(Value::Null(), ValueKind::Null);
            break;
        case EXPR_UNRESOLVE:
            return MakeFieldConstant(variant, place);
        case EXPR_VALUE_LIST:
            return variant.m_data.ptr == nullptr
                       ? TypeError(place, "a list stands behind IN alone")
                       : MakeConstantList(*static_cast<const std::vector<ExprVariant>*>(variant.m_data.ptr), place);
        default:
            return TypeError(place, "this is neither a value nor a condition");
    }
    static_cast<ConstantNode&>(*node).isLiteral = true;
    node->offset = place.m_tokenOffset;
    return node;
}

NodePtr Binder::MakeConstantList(const std::vector<ExprVariant>& items, const ExprVariant& place) {
    std::unique_ptr<ConstantListNode> list = std::make_unique<ConstantListNode>();
    for (const ExprVariant& item : items) {
        // Lists in lists have no meaning, and a list of itself no end.
        if (item.m_type == EXPR_VALUE_LIST) {
            return TypeError(place, "a list holds another list");
        }
        list->items.push_back(MakeConstant(item, place));
        if (list->items.back() == nullptr) {
            return nullptr;
        }
    }
    list->type.kind = ValueKind::List;
    list->offset = place.m_tokenOffset;
    list->count = static_cast<int64_t>(items.size());
    return list;
}

// The field, or one element, or whole message, that a value made elsewhere refers to, as it is now.
NodePtr Binder::MakeFieldConstant(const ExprVariant& variant, const ExprVariant& place) {
    const PbField& pb = variant.m_data.pb;
    if (pb.pMessage == nullptr || pb.pMessage->GetReflection() == nullptr) {
        return TypeError(place, "this refers to no field");
    }
    NodePtr node;
    if (pb.pFieldDesc == nullptr) {
        node = ConstantOf(Value::Bool(true), ValueKind::Message);
        return node;
    }
    if (pb.pFieldDesc->containing_type() != pb.pMessage->GetDescriptor()) {
        return TypeError(place, "this refers to a field of another message");
    }
    BoundPath path;
    path.steps.emplace_back();
    path.steps.back().field = pb.pFieldDesc;
    if (pb.pFieldDesc->is_repeated() && pb.isArrayElement) {
        path.steps.back().access = BoundStep::Access::Index;
        path.steps.back().index = pb.idxBegin;
    }
    NodePtr reader = MakePath(std::move(path), false);
    EvalContext context;
    context.row.record = pb.pMessage;
    if (reader->type.kind == ValueKind::List || reader->type.kind == ValueKind::Map) {
        std::unique_ptr<ConstantListNode> list = std::make_unique<ConstantListNode>();
        ArrayReader array;
        array.Open(*pb.pMessage, pb.pFieldDesc);
        const int begin = pb.isArrayRange ? std::max(0, pb.idxBegin) : 0;
        const int last = pb.isArrayRange ? std::min(array.Count() - 1, pb.idxEnd) : array.Count() - 1;
        list->count = std::max(0, last - begin + 1);
        list->type = reader->type;
        const bool hasValues = TypeOfElement(pb.pFieldDesc).kind != ValueKind::Message;
        for (int i = begin; i <= last && hasValues; ++i) {
            Value element;
            array.Get(i, m_program.texts, element);
            list->items.push_back(ConstantOf(element, TypeOfElement(pb.pFieldDesc).kind));
            list->items.back()->type.enumType = TypeOfElement(pb.pFieldDesc).enumType;
            list->items.back()->isFloatField = reader->isFloatField;
        }
        return list;
    }
    Value value;
    if (reader->Eval(context, value) != 0) {
        return TypeError(place, "the field cannot be read");
    }
    if (value.IsText()) {
        node = MakeText(std::string(value.text, value.size), value.tag == Value::Tag::Bytes);
    } else {
        node = std::make_unique<ConstantNode>(value);
    }
    node->type = reader->type;
    node->tracksPresence = reader->tracksPresence;
    node->isFloatField = reader->isFloatField;
    return node;
}

const ExprVariant* Binder::FindParameter(const ExprVariant& question) {
    const ExprVariant* const found = m_source.parameters == nullptr ? nullptr : m_source.parameters->Find(question);
    if (found != nullptr || m_source.resolver == nullptr) {
        return found;
    }
    ExprVariant asked = question;
    ExprVariant answer;
    if (m_source.resolver->Resolve(&asked, answer) != 0 || answer.m_type == EXPR_QUESTION) {
        return nullptr;
    }
    m_resolvedParameter = answer;
    return &m_resolvedParameter;
}

NodePtr Binder::BindParameter(const Expr& expr) {
    const ExprVariant* const value = FindParameter(expr.m_self);
    if (value == nullptr) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, expr.m_self, "a parameter without a value");
    }
    NodePtr node = MakeConstant(*value, expr.m_self);
    if (node != nullptr) {
        node->tracksPresence = node->type.kind != ValueKind::List;
    }
    return node;
}

NodePtr Binder::BindName(const Expr& expr, bool asksPresence) {
    const bool isName = (expr.m_self.m_flags & EXPR_FLAG_NAME) != 0 ||
                        (expr.m_self.m_data.pb.pMessage == nullptr && !expr.m_self.m_str.empty());
    if (!isName) {
        return MakeFieldConstant(expr.m_self, expr.m_self);
    }
    NamePath name;
    ExprError reason;
    if (ParseName(expr.m_self.m_str, m_names, name, reason) != 0) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, expr.m_self,
                    "'" + expr.m_self.m_str + "' is no name: " + reason.message, reason.hint);
    }
    NodePtr node = name.root == NameRoot::Element && name.steps.empty() ? BindSelf(expr.m_self, asksPresence)
                                                                        : BindPath(expr, name, asksPresence);
    if (node != nullptr) {
        node->offset = expr.m_self.m_tokenOffset;
    }
    return node;
}

// `$` alone.
NodePtr Binder::BindSelf(const ExprVariant& place, bool asksPresence) {
    const FieldDescriptor* const self = m_scope.self;
    if (self == nullptr && m_scope.element == nullptr) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place, "there is no element that $ could be");
    }
    if (self == nullptr || (self->is_repeated() && self->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE)) {
        return MakeWholeMessage(false, self == nullptr ? m_scope.element : self->message_type());
    }
    return self->is_repeated() ? MakeSelfElement(self) : MakeSelfField(self, asksPresence);
}

// Where the first step is looked up.
bool Binder::FindStart(const ExprVariant& place, const NamePath& name, BoundPath& path, const Descriptor*& descriptor) {
    if (name.root == NameRoot::Record || (name.root == NameRoot::Bare && m_scope.element == nullptr)) {
        path.start = PathStart::Record;
        descriptor = m_scope.record;
        if (descriptor == nullptr) {
            Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
                 "there is no record that " + place.m_str + " could be a field of");
        }
        return descriptor != nullptr;
    }
    if (name.root == NameRoot::Element && !m_scope.selfPath.empty()) {
        path.start = PathStart::Record;
        for (const FieldDescriptor* const field : m_scope.selfPath) {
            path.steps.emplace_back();
            path.steps.back().field = field;
        }
        descriptor = m_scope.selfPath.back()->message_type();
        return true;
    }
    path.start = PathStart::Element;
    descriptor = m_scope.element;
    if (name.root == NameRoot::Bare) {
        return true;
    }
    const FieldDescriptor* const self = m_scope.self;
    if (self == nullptr && descriptor == nullptr) {
        const std::string field = place.m_str.substr(std::min<size_t>(2, place.m_str.size()));
        const std::string bare = field.empty() || field.front() == '[' ? "" : field + " or ";
        Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place, "there is no element that $ could be",
             m_scope.record == nullptr ? "" : "a field of the record is written " + bare + "$$." + field);
        return false;
    }
    const bool isValue = self != nullptr && self->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE;
    if (self == nullptr || (isValue && descriptor != nullptr)) {
        return true;
    }
    if (isValue) {
        Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
             "$ is a value of " + std::string(self->full_name()) + " and has no fields",
             m_scope.record == nullptr ? "" : "a field of the record is written $$.name");
        return false;
    }
    descriptor = self->message_type();
    if (!self->is_repeated()) {
        path.start = PathStart::Self;
        path.self = self;
    }
    return true;
}

NodePtr Binder::BindPath(const Expr& expr, const NamePath& name, bool asksPresence) {
    const ExprVariant& place = expr.m_self;
    const bool isRecordName =
        name.root == NameRoot::Record || (name.root == NameRoot::Bare && m_scope.element == nullptr);
    if (isRecordName && m_source.resolver != nullptr) {
        NodePtr node = BindResolved(expr, name, asksPresence);
        if (node != nullptr || m_error.code != 0) {
            return node;
        }
    }
    if (name.root == NameRoot::Record && name.steps.empty()) {
        if (m_scope.record == nullptr) {
            return Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place, "there is no record that $$ could be");
        }
        return MakeWholeMessage(true, m_scope.record);
    }
    BoundPath path;
    const Descriptor* descriptor = nullptr;
    if (!FindStart(place, name, path, descriptor) || !BindSteps(expr, name, descriptor, path)) {
        return nullptr;
    }
    return MakePath(std::move(path), asksPresence);
}

// A value that the resolver knows: a named one, or a name of a record that the scope does not describe.
// Null without an error when the name is to be looked up in the scope.
NodePtr Binder::BindResolved(const Expr& expr, const NamePath& name, bool asksPresence) {
    const ExprVariant& place = expr.m_self;
    if (const ProtobuFieldResolver* const fields = dynamic_cast<const ProtobuFieldResolver*>(m_source.resolver)) {
        const ExprVariant* const named = name.root == NameRoot::Bare ? fields->FindNamedValue(place.m_str) : nullptr;
        NodePtr node = named == nullptr ? nullptr : MakeConstant(*named, place);
        if (node != nullptr) {
            node->tracksPresence = node->type.kind != ValueKind::List;
        }
        return node;
    }
    if (m_scope.record != nullptr) {
        return nullptr;
    }
    ExprVariant asked = place;
    if (!NameWithParameters(expr, asked.m_str)) {
        return nullptr;
    }
    ExprVariant answer;
    const int ret = m_source.resolver->Resolve(&asked, answer);
    if (ret != 0) {
        // A resolver without reasons answers -1.
        const bool isPlain = ret == -1 || ret > 0;
        return Fail(isPlain ? OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME : ret, place,
                    "the name " + place.m_str + " cannot be resolved");
    }
    return MakeResolved(answer, place, asksPresence);
}

NodePtr Binder::MakeResolved(ExprVariant& answer, const ExprVariant& place, bool asksPresence) {
    ExprResolver& resolver = *m_source.resolver;
    NodePtr node;
    if (resolver.IsMap(answer)) {
        std::unique_ptr<ConstantListNode> map = std::make_unique<ConstantListNode>();
        map->type.kind = ValueKind::Map;
        map->count = std::max(0, resolver.MapSize(answer));
        node = std::move(map);
    } else if (resolver.IsArray(answer)) {
        std::vector<ExprVariant> items(static_cast<size_t>(std::max(0, resolver.ArraySize(answer))));
        for (size_t i = 0; i < items.size(); ++i) {
            if (resolver.ArrayGet(answer, static_cast<int>(i), items[i]) != 0) {
                return TypeError(place, "an element of " + place.m_str + " cannot be read");
            }
        }
        node = MakeConstantList(items, place);
    } else if (resolver.IsStruct(answer)) {
        node = ConstantOf(Value::Bool(true), ValueKind::Message);
    } else {
        node = MakeConstant(answer, place);
    }
    if (node == nullptr) {
        return nullptr;
    }
    const PbField& pb = answer.m_data.pb;
    const bool isSingular = answer.m_type == EXPR_UNRESOLVE && pb.pFieldDesc != nullptr && pb.pMessage != nullptr &&
                            TracksPresence(pb.pFieldDesc);
    if (asksPresence && isSingular && !pb.pMessage->GetReflection()->HasField(*pb.pMessage, pb.pFieldDesc)) {
        node = ConstantOf(Value::Null(), ValueKind::Null);
    }
    node->tracksPresence = true;
    if (node->Constant() != nullptr) {
        static_cast<ConstantNode&>(*node).isLiteral = false;
    }
    return node;
}

// The name's text with values in place of its parameters.
bool Binder::NameWithParameters(const Expr& expr, std::string& text) {
    if (expr.IsOperandEmpty()) {
        return true;
    }
    std::string out;
    size_t ordinal = 0;
    bool isQuoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        // Inside a key in quotes nothing is a parameter.
        if (isQuoted && text[i] == '\\') {
            out += text[i++];
        } else if (text[i] == '\'') {
            isQuoted = !isQuoted;
        }
        const bool isParameter = !isQuoted && (text[i] == '?' || text[i] == ':') && ordinal < expr.OperandCount();
        if (!isParameter) {
            out += i < text.size() ? std::string(1, text[i]) : std::string();
            continue;
        }
        const Expr* const operand = (*expr.m_operands)[ordinal++];
        const ExprVariant* const value = operand == nullptr ? nullptr : FindParameter(operand->m_self);
        if (value == nullptr) {
            Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, expr.m_self, "a parameter without a value");
            return false;
        }
        out += value->ToStr();
        while (i + 1 < text.size() && text[i + 1] != ']') {
            ++i;
        }
    }
    text = out;
    return true;
}

bool Binder::BindRecordName(const Expr& expr, const NamePath& name, BoundPath& path) {
    const Descriptor* descriptor = nullptr;
    return FindStart(expr.m_self, name, path, descriptor) && BindSteps(expr, name, descriptor, path);
}

bool Binder::BindKey(const ExprVariant& key, BoundStep& step) {
    Expr subscript;
    subscript.m_self = key;
    return BindSubscript(key, &subscript, nullptr, step);
}

bool Binder::BindSteps(const Expr& expr, const NamePath& name, const Descriptor* descriptor, BoundPath& path) {
    size_t parameterCount = 0;
    for (size_t i = 0; i < name.steps.size(); ++i) {
        const PathStep& step = name.steps[i];
        const bool isLast = i + 1 == name.steps.size();
        const ExprVariant place = Place(expr.m_self.m_tokenOffset + step.offset);
        const FieldDescriptor* const field = FindField(descriptor, step);
        if (field == nullptr) {
            FailAt(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place.m_tokenOffset, step.name.size(),
                   std::string(descriptor->full_name()) + " has no " +
                       (step.isExtension ? "extension [" + step.name + "]" : "field '" + step.name + "'"),
                   step.isExtension ? "" : FieldHint(descriptor, step.name));
            return false;
        }
        const ExprVariant* parameter = nullptr;
        if (step.subscript != nullptr && step.subscript->m_self.m_type == EXPR_QUESTION) {
            const size_t ordinal = parameterCount++;
            const bool isThere = ordinal < expr.OperandCount() && (*expr.m_operands)[ordinal] != nullptr;
            const ExprVariant& question = isThere ? (*expr.m_operands)[ordinal]->m_self : step.subscript->m_self;
            parameter = FindParameter(question);
            if (parameter == nullptr) {
                FailAt(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, question.m_tokenOffset, 1,
                       "a parameter without a value");
                return false;
            }
        }
        BoundStep bound;
        bound.field = field;
        if (step.subscript != nullptr && !BindSubscript(place, step.subscript, parameter, bound)) {
            return false;
        }
        const bool isKey = bound.access == BoundStep::Access::Key;
        const FieldDescriptor* const value = isKey ? field->message_type()->FindFieldByNumber(2) : field;
        if (!isLast && field->is_repeated() && step.subscript == nullptr) {
            TypeError(place, std::string(field->full_name()) + " is repeated and needs an index here",
                      field->is_map() ? step.name + "['key']" : step.name + "[0]");
            return false;
        }
        if (!isLast && value->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
            Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
                 std::string(field->full_name()) + " is no message and has no fields");
            return false;
        }
        descriptor = value->message_type();
        path.steps.push_back(bound);
    }
    return true;
}

bool Binder::BindSubscript(const ExprVariant& place, const Expr* subscript, const ExprVariant* parameter,
                           BoundStep& step) {
    const FieldDescriptor* const field = step.field;
    const std::string fullName(field->full_name());
    if (!field->is_repeated()) {
        TypeError(place, fullName + " is not repeated and takes no index");
        return false;
    }
    const ExprVariant& variant = parameter == nullptr ? subscript->m_self : *parameter;
    // NULL finds nothing.
    const bool isUnknown = variant.m_type == EXPR_NULL;
    Value number;
    const bool isNumber = SubscriptNumber(variant, number);
    if (!field->is_map()) {
        step.access = BoundStep::Access::Index;
        step.index = isNumber ? IndexOf(number) : FAR_INDEX;
        if (!isNumber && !isUnknown) {
            TypeError(place, "an index of " + fullName + " is one whole number");
        }
        return isNumber || isUnknown;
    }
    step.access = BoundStep::Access::Key;
    if (isUnknown) {
        return true;
    }
    const FieldDescriptor* const key = field->message_type()->FindFieldByNumber(1);
    const std::string* text = nullptr;
    const bool isText = variant.m_type != EXPR_UNRESOLVE && variant.CastRef(text);
    if (key->cpp_type() == FieldDescriptor::CPPTYPE_STRING && isText) {
        m_program.texts.push_back(*text);
        step.key = Value::Text(m_program.texts.back().data(), m_program.texts.back().size(), false);
        return true;
    }
    const bool isBool = variant.m_type == EXPR_UINT && (variant.m_flags & EXPR_FLAG_BOOL) != 0;
    if (key->cpp_type() == FieldDescriptor::CPPTYPE_BOOL && isBool) {
        step.key = Value::Bool(variant.m_data.valUInt64 != 0);
        return true;
    }
    const bool wantsNumber =
        key->cpp_type() != FieldDescriptor::CPPTYPE_STRING && key->cpp_type() != FieldDescriptor::CPPTYPE_BOOL;
    if (wantsNumber && isNumber) {
        step.key = number;
        return true;
    }
    TypeError(place, "the keys of " + fullName + " are " +
                         (wantsNumber                                        ? "whole numbers"
                          : key->cpp_type() == FieldDescriptor::CPPTYPE_BOOL ? "true and false"
                                                                             : "texts"));
    return false;
}

}  // namespace OstraneCommon
