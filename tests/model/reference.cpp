#include "model/reference.h"

#include <algorithm>
#include <cstdlib>

namespace model {

using google::protobuf::FieldDescriptor;

namespace {

constexpr int GENERIC = -256;
constexpr int INCOMPLETE = -537;
constexpr int BAD_SYNTAX = -4377;
constexpr int BAD_INDEX = -4633;
constexpr int BAD_NAME = -4889;
constexpr int BAD_TYPE = -5145;

constexpr const char* HEADER = "src/common/protobuf_record_util.h";
constexpr const char* SOURCE = "src/common/protobuf_record_util.cpp";

bool IsMessage(const FieldDescriptor* field) {
    return field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
}
bool IsText(const FieldDescriptor* field) {
    return field->cpp_type() == FieldDescriptor::CPPTYPE_STRING;
}
bool IsEnum(const FieldDescriptor* field) {
    return field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM;
}
bool IsScalar(const FieldDescriptor* field) {
    return !IsMessage(field) && !IsText(field) && !IsEnum(field);
}

// Exchanges contents, so that whoever holds either message holds it still.
void ExchangeContents(Node& a, Node& b) {
    const std::map<int, Values> former = a.fields;
    a.fields = b.fields;
    b.fields = former;
}

std::string Count(int number) {
    return std::to_string(number);
}

std::string FullName(const FieldDescriptor* field) {
    return std::string(field->full_name());
}

std::string TypeName(const Node& node) {
    return std::string(node.type->full_name());
}

// The value's 64 bits, as every integer kind is read.
bool Bits(const Literal& literal, uint64_t& bits) {
    switch (literal.kind) {
        case Literal::Kind::Int:
        case Literal::Kind::IntText:
            bits = static_cast<uint64_t>(literal.int64);
            return true;
        case Literal::Kind::UInt:
        case Literal::Kind::Bool:
            bits = literal.uint64;
            return true;
        case Literal::Kind::Float: {
            const auto whole = static_cast<int64_t>(literal.real);
            bits = static_cast<uint64_t>(whole);
            return static_cast<double>(whole) == literal.real;
        }
        default:
            return false;
    }
}

bool Real(const Literal& literal, double& real) {
    switch (literal.kind) {
        case Literal::Kind::Int:
        case Literal::Kind::IntText:
            real = static_cast<double>(literal.int64);
            return true;
        case Literal::Kind::UInt:
        case Literal::Kind::Bool:
            real = static_cast<double>(literal.uint64);
            return true;
        case Literal::Kind::Float:
            real = literal.real;
            return true;
        default:
            return false;
    }
}

bool IsTextual(const Literal& literal) {
    return literal.kind == Literal::Kind::Text || literal.kind == Literal::Kind::TextPointer;
}

// What a field of a type other than message makes of a value.
bool Convert(const FieldDescriptor* field, const Literal& literal, std::string& text) {
    uint64_t bits = 0;
    double real = 0;
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_BOOL:
            return Bits(literal, bits) && (text = TextOf(bits != 0), true);
        case FieldDescriptor::CPPTYPE_INT32:
            return Bits(literal, bits) && (text = TextOf(static_cast<int32_t>(bits)), true);
        case FieldDescriptor::CPPTYPE_UINT32:
            return Bits(literal, bits) && (text = TextOf(static_cast<uint32_t>(bits)), true);
        case FieldDescriptor::CPPTYPE_INT64:
            return Bits(literal, bits) && (text = TextOf(static_cast<int64_t>(bits)), true);
        case FieldDescriptor::CPPTYPE_UINT64:
            return Bits(literal, bits) && (text = TextOf(bits), true);
        case FieldDescriptor::CPPTYPE_DOUBLE:
            return Real(literal, real) && (text = TextOf(real), true);
        case FieldDescriptor::CPPTYPE_FLOAT:
            return Real(literal, real) && (text = TextOf(static_cast<double>(static_cast<float>(real))), true);
        case FieldDescriptor::CPPTYPE_STRING:
            return IsTextual(literal) && (text = literal.text, true);
        case FieldDescriptor::CPPTYPE_ENUM:
            for (int i = 0; i < field->enum_type()->value_count(); ++i) {
                if (IsTextual(literal) && field->enum_type()->value(i)->name() == literal.text) {
                    text = TextOf(field->enum_type()->value(i)->number());
                    return true;
                }
            }
            return false;
        case FieldDescriptor::CPPTYPE_MESSAGE:
            break;
    }
    return false;
}

double NumberOf(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

// Whether the condition is true for an element. What is unset is neither less nor equal.
bool Holds(const Filter& filter, const Value& element) {
    if (filter.kind == Filter::Kind::None || filter.kind == Filter::Kind::Always) {
        return true;
    }
    std::string text = element.text;
    if (filter.subField != nullptr) {
        const Values& values = element.node->Of(filter.subField);
        if (values.empty() && filter.subField->has_presence()) {
            return false;
        }
        text = values.empty() ? Blank(filter.subField).text : values[0].text;
    }
    return filter.kind == Filter::Kind::Less ? NumberOf(text) < filter.number : text == filter.text;
}

}  // namespace

bool ParseIndex(const std::string& text, int lowest, int highest, int& out) {
    const size_t digits = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    if (digits == text.size()) {
        return false;
    }
    int64_t number = 0;
    for (size_t i = digits; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
        number = std::min<int64_t>(number * 10 + (text[i] - '0'), INT64_MAX / 100);
    }
    number = text[0] == '-' ? -number : number;
    if (number < lowest || number > highest) {
        return false;
    }
    out = static_cast<int>(number);
    return true;
}

void ExchangeElements(Node& a, const FieldDescriptor* aField, int i, Node& b, const FieldDescriptor* bField, int j) {
    Values& aValues = a.fields.at(aField->number());
    Values& bValues = b.fields.at(bField->number());
    const Value former = aValues[static_cast<size_t>(i)];
    aValues[static_cast<size_t>(i)] = bValues[static_cast<size_t>(j)];
    bValues[static_cast<size_t>(j)] = former;
}

int Reference::Error(const char* file, const std::string& function, const std::string& text, int code) {
    lines.push_back(std::string("ERROR ") + file + ' ' + function + ": " + text);
    return code;
}

void Reference::Debug(const std::string& function, const std::string& text) {
    lines.push_back(std::string("DEBUG ") + SOURCE + ' ' + function + ": " + text);
}

void Reference::MoveLastTo(Values& elements, int pos) const {
    if (pos + 1 < static_cast<int>(elements.size())) {
        const Value last = elements.back();
        elements.pop_back();
        elements.insert(elements.begin() + pos, last);
    }
}

// ---- Set and push by expression

// The value of the one assignment `$ = value`.
int Reference::ElementValue(const std::string& function, const ElementExpr& expr, const Literal*& value) {
    if (expr.entries.size() != 1) {
        return Error(SOURCE, function,
                     "require only 1 assign expr, but " + Count(static_cast<int>(expr.entries.size())), BAD_SYNTAX);
    }
    const Entry& entry = expr.entries[0];
    if (!entry.isAssign) {
        return Error(SOURCE, function, "require assign expr, expr='" + entry.name + "'", BAD_SYNTAX);
    }
    if (!entry.hasValue) {
        return Error(SOURCE, function, "invalid assign expr", BAD_SYNTAX);
    }
    if (entry.name != "$") {
        return Error(SOURCE, function, "not found field '" + entry.name + "'", BAD_NAME);
    }
    value = &entry.value;
    return 0;
}

// The value of an element that is no message.
int Reference::Cast(const std::string& operation, const FieldDescriptor* field, const Literal& literal, Value& out) {
    if (IsEnum(field)) {
        return Error(SOURCE, operation + "WithExpr", "invalid type=8", BAD_TYPE);
    }
    if (Convert(field, literal, out.text)) {
        return 0;
    }
    const std::string rest = ", field=" + FullName(field) + ", expr=" + literal.shown;
    return IsText(field) ? Error(SOURCE, operation + "RepeatedStringWithExpr", "cast to string failed" + rest, BAD_TYPE)
                         : Error(HEADER, operation + "RepeatedFieldWithExpr", "expr type cast failed" + rest, BAD_TYPE);
}

int Reference::AssignField(Node& node, const FieldDescriptor* field, const Literal& literal) {
    std::string text;
    if (Convert(field, literal, text)) {
        node.PutSingular(field, text);
        return 0;
    }
    return Error(SOURCE, "AssignField",
                 "type cast failed, proto-cpp-type=" + Count(field->cpp_type()) + ", variant=" + literal.shown,
                 BAD_TYPE);
}

int Reference::AssignEntries(const std::string& function, Node& element, const std::vector<Entry>& entries) {
    for (const Entry& entry : entries) {
        if (!entry.isAssign || !entry.hasValue) {
            return Error(SOURCE, function, "invalid assign expr, field=" + entry.name, BAD_SYNTAX);
        }
        const FieldDescriptor* subField = element.type->FindFieldByName(entry.name);
        if (subField == nullptr) {
            return Error(SOURCE, function, entry.name + " not exist in " + TypeName(element), BAD_NAME);
        }
        const int code = AssignField(element, subField, entry.value);
        if (code != 0) {
            return Error(SOURCE, function, "AssignField(" + entry.name + ") failed, ret=" + Count(code), code);
        }
    }
    return 0;
}

int Reference::SetWithExpr(Target target, const ElementExpr& expr) {
    if (expr.entries.empty() || !expr.hasIndex) {
        return Error(SOURCE, "SetWithExpr", "invalid operands, expr = " + expr.shown, BAD_INDEX);
    }
    const int size = target.parent->Size(target.field);
    int index = 0;
    if (size == 0 || !ParseIndex(expr.index, -1, size - 1, index)) {
        return Error(SOURCE, "SetWithExpr",
                     "field=" + FullName(target.field) + ", invalid array index=" + expr.index +
                         ", repeated.size=" + Count(size),
                     BAD_INDEX);
    }
    index = index == -1 ? size - 1 : index;
    Value& element = target.parent->fields.at(target.field->number())[static_cast<size_t>(index)];
    if (IsMessage(target.field)) {
        return AssignEntries("SetRepeatedMessageWithExpr", *element.node, expr.entries);
    }
    const Literal* literal = nullptr;
    const int code = ElementValue("SetWithExpr", expr, literal);
    return code != 0 ? code : Cast("Set", target.field, *literal, element);
}

int Reference::PushWithExpr(Target target, const ElementExpr& expr) {
    if (expr.entries.empty() || !expr.hasIndex) {
        return Error(SOURCE, "PushWithExpr", "invalid operands, expr = " + expr.shown, BAD_INDEX);
    }
    const int size = target.parent->Size(target.field);
    int pos = 0;
    if (!ParseIndex(expr.index, -1, size, pos)) {
        return Error(SOURCE, "PushWithExpr",
                     "field=" + FullName(target.field) + ", invalid array index=" + expr.index +
                         ", repeated.size=" + Count(size),
                     BAD_INDEX);
    }
    pos = pos == -1 ? size : pos;
    Value element = Blank(target.field);
    int code = 0;
    if (IsMessage(target.field)) {
        code = AssignEntries("PushRepeatedMessageWithExpr", *element.node, expr.entries);
        if (code == 0 && !HasAllRequired(*element.node)) {
            code = Error(
                SOURCE, "PushRepeatedMessageWithExpr",
                "PushRepeatedMessage(" + std::string(element.node->type->name()) + ") failed, miss required sub-fields",
                INCOMPLETE);
        }
    } else {
        const Literal* literal = nullptr;
        code = ElementValue("PushWithExpr", expr, literal);
        code = code != 0 ? code : Cast("Push", target.field, *literal, element);
    }
    if (code != 0) {
        return code;
    }
    Values elements = target.parent->Of(target.field);
    elements.push_back(element);
    MoveLastTo(elements, pos);
    target.parent->Put(target.field, elements);
    return 0;
}

// ---- Copies from a source field

void Reference::Take(Node& target, const Source& source) {
    Debug("UpdateWithPbField", (source.isMutable ? "swap message " : "copy message ") + TypeName(target));
    if (source.isMutable) {
        ExchangeContents(target, *source.message);
        return;
    }
    target.fields = DeepCopy(*source.message)->fields;
}

int Reference::ReplaceMessage(Target target, const Source& source) {
    const std::string names = ", source: " + TypeName(*source.message) + ", target: " + TypeName(*target.parent);
    if (source.field != nullptr) {
        if (!source.field->is_repeated() && !source.message->Has(source.field)) {
            target.parent->Clear();
            return 0;
        }
        return Error(SOURCE, "UpdateWithPbField", "expect sourceFieldDesc is null" + names, BAD_NAME);
    }
    if (source.message->type != target.parent->type) {
        return Error(SOURCE, "UpdateWithPbField", "inconsistent message" + names, BAD_NAME);
    }
    Take(*target.parent, source);
    return 0;
}

int Reference::ReplaceSingular(Target target, const Source& source) {
    if (source.field == nullptr) {
        if (target.parent->Has(target.field)) {
            return Error(SOURCE, "UpdateWithPbField",
                         "expect fieldDesc is null, source: " + TypeName(*source.message) +
                             ", target: " + TypeName(*target.parent),
                         BAD_NAME);
        }
        const std::shared_ptr<Node> taken = NewNode(target.field->message_type());
        Take(*taken, source);
        target.parent->PutSingular(target.field, "");
        target.parent->Put(target.field, {{"", taken}});
        return 0;
    }
    if (!source.message->Has(source.field)) {
        target.parent->Put(target.field, {});
        return 0;
    }
    Debug("UpdateWithPbField", "set field: " + FullName(target.field));
    if (IsMessage(target.field)) {
        return Error(SOURCE, "UpdateWithPbField", FullName(target.field) + ", invalid type: 10", BAD_TYPE);
    }
    target.parent->PutSingular(target.field, std::string(source.message->Of(source.field)[0].text));
    return 0;
}

int Reference::UpdateWithPbField(Target target, OstraneCommon::ExprType type, const Source* source) {
    if (type == OstraneCommon::EXPR_OP_POP) {
        if (target.field != nullptr) {
            target.parent->Put(target.field, {});
        } else {
            target.parent->Clear();
        }
        return 0;
    }
    if (source == nullptr) {
        return Error(SOURCE, "UpdateWithPbField", "input value is null", GENERIC);
    }
    if (target.field == nullptr) {
        return ReplaceMessage(target, *source);
    }
    if (!target.field->is_repeated()) {
        return ReplaceSingular(target, *source);
    }
    Debug("UpdateWithPbField", "replace repeated field: " + std::string(target.field->name()) +
                                   ", src.isRange: " + Count(source->isRange ? 1 : 0) + ", src.range: [" +
                                   Count(source->begin) + ", " + Count(source->end) + "]");
    target.parent->Put(target.field, {});
    return PushWithPbField(target, -1, *source);
}

namespace {

// First and last element of a source.
std::pair<int, int> RunOf(const Source& source) {
    if (source.isRange) {
        return {source.begin, source.end};
    }
    return {0, source.field == nullptr ? 0 : source.message->Size(source.field) - 1};
}

// What the unset elements of a push from a source hold until they are written.
Value Placeholder(const FieldDescriptor* field, const Source& source, int srcBegin) {
    return IsEnum(field) ? source.message->Of(source.field)[static_cast<size_t>(srcBegin)] : Blank(field);
}

bool IsMoved(const FieldDescriptor* field, const Source& source) {
    return source.isMutable && (IsText(field) || IsMessage(field));
}

}  // namespace

int Reference::SetWithPbField(Target target, int idxBegin, int idxEnd, const Source& source) {
    if (source.message->Size(source.field) < 1) {
        return Error(SOURCE, "SetWithPbField", "src repeated field(" + FullName(target.field) + ") is empty",
                     BAD_INDEX);
    }
    const int count = target.parent->Size(target.field);
    if (count > 0) {
        idxBegin += idxBegin < 0 ? count : 0;
        idxEnd += idxEnd < 0 ? count : 0;
    }
    if (count == 0 || idxEnd >= count || idxBegin > idxEnd) {
        return Error(SOURCE, "SetWithPbField",
                     "invalid idxBegin: " + Count(idxBegin) + ", idxEnd: " + Count(idxEnd) + ", count: " + Count(count),
                     BAD_INDEX);
    }
    const auto [srcBegin, srcEnd] = RunOf(source);
    if (srcEnd - srcBegin < idxEnd - idxBegin) {
        const std::string text = "assign element(" + FullName(target.field) +
                                 ") count not match, idxBegin: " + Count(idxBegin) + ", idxEnd: " + Count(idxEnd);
        if (IsScalar(target.field)) {
            return Error(HEADER, "SetRepeatedField", text + ", assignCount: " + Count(srcEnd + 1 - srcBegin),
                         BAD_INDEX);
        }
        const std::string kind = IsEnum(target.field) ? "Enum" : IsText(target.field) ? "String" : "Message";
        return Error(SOURCE, "SetRepeated" + kind + "WithPbField",
                     text + ", srcIdxBegin: " + Count(srcBegin) + ", srcIdxEnd: " + Count(srcEnd), BAD_INDEX);
    }
    for (int i = idxBegin, j = srcBegin; i <= idxEnd; ++i, ++j) {
        if (IsMoved(target.field, source)) {
            ExchangeElements(*target.parent, target.field, i, *source.message, source.field, j);
            continue;
        }
        const Value copy = DeepCopy(source.message->Of(source.field)[static_cast<size_t>(j)]);
        Value& place = target.parent->fields.at(target.field->number())[static_cast<size_t>(i)];
        if (copy.node != nullptr) {
            place.node->fields = copy.node->fields;
        } else {
            place = copy;
        }
    }
    return 0;
}

int Reference::PushWithPbField(Target target, int pos, const Source& source) {
    if (source.field != nullptr && !source.message->Has(source.field)) {
        Debug("PushWithPbField", "src repeated field(" + FullName(target.field) + ") is empty");
        return 0;
    }
    const int count = target.parent->Size(target.field);
    if (pos > count) {
        return Error(SOURCE, "PushWithPbField", "invalid idx = " + Count(pos) + ", count = " + Count(count), BAD_INDEX);
    }
    pos = pos == -1 ? count : pos;
    const std::pair<int, int> bounds = RunOf(source);
    const int srcBegin = bounds.first;
    const int srcEnd = bounds.second;
    const int runCount = std::max(srcEnd - srcBegin + 1, 0);
    const bool isOwn = source.message == target.parent && source.field == target.field;

    // The run as it stood before the push.
    Values run;
    for (int j = srcBegin; source.field != nullptr && j <= srcEnd; ++j) {
        run.push_back(source.message->Of(source.field)[static_cast<size_t>(j)]);
    }
    Values elements = target.parent->Of(target.field);
    for (int added = 0; added < runCount; ++added) {
        elements.push_back(DeepCopy(Placeholder(target.field, source, srcBegin)));
    }
    MoveLastTo(elements, pos);

    if (source.field == nullptr) {
        Node& element = *elements[static_cast<size_t>(pos)].node;
        if (source.isMutable) {
            ExchangeContents(element, *source.message);
        } else {
            element.fields = DeepCopy(*source.message)->fields;
        }
        target.parent->Put(target.field, elements);
        return 0;
    }
    if (!IsMoved(target.field, source)) {
        Values copies;
        for (const Value& value : run) {
            copies.push_back(DeepCopy(value));
        }
        std::copy(copies.begin(), copies.end(), elements.begin() + pos);
        target.parent->Put(target.field, elements);
        return 0;
    }
    const Values afterPass = elements;
    std::copy(run.begin(), run.end(), elements.begin() + pos);
    if (!isOwn) {
        target.parent->Put(target.field, elements);
        for (int k = 0; k < runCount; ++k) {
            source.message->fields.at(source.field->number())[static_cast<size_t>(srcBegin + k)] =
                afterPass[static_cast<size_t>(pos + k)];
        }
        return 0;
    }
    // The place that an element of the run leaves gets what stood at its new place; was that one of the
    // run too, what stood at that one's new place.
    const auto indexInRun = [&](int place) {
        const int before = place < pos ? place : place - 1;
        return place == pos || before >= count || before < srcBegin || before > srcEnd ? -1 : before - srcBegin;
    };
    for (int place = 0; place < static_cast<int>(afterPass.size()); ++place) {
        const bool isFilled = place >= pos && place < pos + runCount;
        int k = indexInRun(place);
        if (isFilled || k < 0) {
            continue;
        }
        while (indexInRun(pos + k) >= 0) {
            k = indexInRun(pos + k);
        }
        elements[static_cast<size_t>(place)] = afterPass[static_cast<size_t>(pos + k)];
    }
    target.parent->Put(target.field, elements);
    return 0;
}

// ---- Selection

int Reference::Select(const Node& node, const FieldDescriptor* field, const Ranges& ranges, const Filter& filter,
                      std::vector<int>& selected) {
    if (filter.kind == Filter::Kind::Failing) {
        return Error(SOURCE, "MarkMatchPositions", "FindArrayMatchPositions failed, ret: -4889, errmsg: *", BAD_NAME);
    }
    const int size = node.Size(field);
    for (int i = 0; i < size; ++i) {
        bool isInRange = ranges.empty();
        for (const auto& [first, last] : ranges) {
            const int64_t begin = first < 0 ? int64_t{first} + size : first;
            const int64_t end = last < 0 ? int64_t{last} + size : last;
            isInRange |= begin <= i && i <= end;
        }
        if (isInRange && Holds(filter, node.Of(field)[static_cast<size_t>(i)])) {
            selected.push_back(i);
        }
    }
    return 0;
}

int Reference::PopWithExpr(Target target, const SelectExpr& expr) {
    if (!expr.hasOperands || (expr.hasRange && expr.rangeText.empty())) {
        target.parent->Put(target.field, {});
        return 0;
    }
    if (!expr.hasRange) {
        return Error(SOURCE, "PopWithExpr", "invalid array index expr = " + expr.shownFirst, BAD_INDEX);
    }
    if (!target.parent->Has(target.field)) {
        return Error(SOURCE, "PopWithExpr", "'" + FullName(target.field) + "' is empty", BAD_INDEX);
    }
    if (!expr.isRangeValid) {
        return Error(SOURCE, "PopWithExpr", "invalid range=" + expr.rangeText, BAD_INDEX);
    }
    return PopWithRange(target, expr.ranges, expr.filter);
}

int Reference::PopWithRange(Target target, const Ranges& ranges, const Filter& filter) {
    if (IsEnum(target.field)) {
        return Error(SOURCE, "PopWithRange", "invalid type=8", BAD_TYPE);
    }
    if (!target.parent->Has(target.field)) {
        return 0;
    }
    std::vector<int> selected;
    const int code = Select(*target.parent, target.field, ranges, filter, selected);
    if (code != 0) {
        const std::string text = "MarkMatchPositions failed, field=" + FullName(target.field) + ", ret=" + Count(code);
        return IsScalar(target.field)
                   ? Error(HEADER, "PopRepeatedField", text, code)
                   : Error(SOURCE, IsText(target.field) ? "PopRepeatedString" : "PopRepeatedMessage", text, code);
    }
    Values survivors;
    for (int i = 0; i < target.parent->Size(target.field); ++i) {
        if (std::find(selected.begin(), selected.end(), i) == selected.end()) {
            survivors.push_back(target.parent->Of(target.field)[static_cast<size_t>(i)]);
        }
    }
    target.parent->Put(target.field, survivors);
    return 0;
}

int Reference::GetWithRange(Target source, bool isMutable, const Ranges& ranges, const Filter& filter, Target target,
                            std::vector<int>* positions) {
    if (IsEnum(source.field)) {
        return Error(SOURCE, "GetWithRange", "invalid type=8", BAD_TYPE);
    }
    if (!IsScalar(source.field) && !source.parent->Has(source.field)) {
        return 0;
    }
    std::vector<int> selected;
    const int code = Select(*source.parent, source.field, ranges, filter, selected);
    if (code != 0) {
        const std::string text = "MarkMatchPositions failed, src=" + FullName(source.field) + ", ret=" + Count(code);
        return IsScalar(source.field)
                   ? Error(HEADER, "GetRepeatedField", text, code)
                   : Error(SOURCE, IsText(source.field) ? "GetRepeatedString" : "GetRepeatedMessage", text, code);
    }
    for (const int i : selected) {
        const Value taken = source.parent->Of(source.field)[static_cast<size_t>(i)];
        Values elements = target.parent->Of(target.field);
        elements.push_back(isMutable ? taken : DeepCopy(taken));
        target.parent->Put(target.field, elements);
        if (isMutable) {
            source.parent->fields.at(source.field->number())[static_cast<size_t>(i)] = Blank(source.field);
        }
        if (positions != nullptr) {
            positions->push_back(i);
        }
    }
    return 0;
}

}  // namespace model
