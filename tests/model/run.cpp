// The driver: reads a step against the state, asks the reference, does the same to the record, compares.
#include <algorithm>
#include <cstdlib>

#include "common/protobuf_record_util.h"
#include "model/choices.h"
#include "model/sequence.h"
#include "model/world.h"

namespace model {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using OstraneCommon::PbField;

namespace {

struct FieldPlace {
    Place place;
    const FieldDescriptor* field;
};

bool IsOneType(const FieldDescriptor* a, const FieldDescriptor* b) {
    return a->is_repeated() == b->is_repeated() && a->cpp_type() == b->cpp_type() &&
           a->message_type() == b->message_type() && a->enum_type() == b->enum_type();
}

std::string Name(const FieldPlace& at) {
    return at.place.path + "." + std::string(at.field->name());
}

std::string Join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += "\n    " + line;
    }
    return text;
}

// Whether the lines are as expected, where an expected one may end in "*".
bool AreLines(const std::vector<std::string>& actual, const std::vector<std::string>& expected) {
    const auto isLine = [](const std::string& line, const std::string& wanted) {
        return wanted.back() == '*' ? line.compare(0, wanted.size() - 1, wanted, 0, wanted.size() - 1) == 0
                                    : line == wanted;
    };
    return std::equal(actual.begin(), actual.end(), expected.begin(), expected.end(), isLine);
}

bool IsLong(int size) {
    return size > 20;
}

std::string SizeOf(int size) {
    return size == 0 ? "none" : size == 1 ? "one" : !IsLong(size) ? "some" : size <= 64 ? "a word" : "words";
}

std::string KindOf(const FieldDescriptor* field) {
    const std::string kind = field->is_map() ? "map of " + KindOf(field->message_type()->field(1))
                             : field->type() == FieldDescriptor::TYPE_GROUP ? "group"
                             : field->type() == FieldDescriptor::TYPE_BYTES ? "bytes"
                                                                            : field->cpp_type_name();
    return field->is_extension() ? "extension " + kind : kind;
}

// How a source and a target lie to each other.
std::string RelationOf(const Source& source, const Target& target) {
    if (source.message == target.parent) {
        return source.field == target.field ? "own field" : "own message";
    }
    return IsInside(source.message, *target.parent)   ? "source inside"
           : IsInside(target.parent, *source.message) ? "source around"
                                                      : "apart";
}

std::vector<std::string> MeetingsOf(const Source& source, const Target& target) {
    const std::string manner = source.isMutable ? "moved" : "copied";
    const std::string extent = source.field == nullptr ? "whole message" : source.isRange ? "range" : "field";
    const bool isArray = target.field != nullptr && target.field->is_repeated();
    return {manner + ", " + RelationOf(source, target), manner + ", " + extent,
            isArray ? SizeOf(target.parent->Size(target.field)) : "no array"};
}

class Runner {
public:
    Runner(uint8_t world, Reference& reference, Statistics& statistics)
        : m_world(world), m_reference(reference), m_statistics(statistics) {}

    // Empty, or how the record differs afterwards.
    std::string RunStep(const Step& step);
    const std::string& Description() const { return m_description; }
    World& GetWorld() { return m_world; }

private:
    // What an operation is: its name, what the reference makes of it, and the operation itself. Each returns
    // its code.
    struct Operation {
        std::string name;
        bool isAllowed;  // by what the operations leave to their caller
        std::function<int()> expect;
        std::function<int()> run;
        std::string kind;                   // of element, or of what an update writes
        std::vector<std::string> meetings;  // what else was chosen
    };

    std::string Compare(const Operation& operation);
    FieldPlace ChooseField(Chooser& chooser, bool isRepeated, bool isOftenFilled = true);
    bool ChooseFieldValue(Chooser& chooser, Literal& literal);
    bool ChooseSource(Chooser& chooser, const FieldDescriptor* field, FieldPlace& source);
    Source ChooseRun(Chooser& chooser, const FieldPlace& from);
    bool IsApart(const Source& source, const Target& target, int firstWritten, int lastWritten) const;
    std::string ShowSource(const Source& source, const std::string& path) const;

    std::string Fill(Chooser& chooser);
    Operation Element(Chooser& chooser, bool isPush);
    Operation Update(Chooser& chooser);
    bool IsUpdateAllowed(const Target& target, const Source& source) const;
    Operation SetFrom(Chooser& chooser);
    Operation PushFrom(Chooser& chooser);
    Operation PopExpr(Chooser& chooser);
    Operation PopRange(Chooser& chooser);
    Operation Get(Chooser& chooser);

    ProtobufRecordUtil Util() { return ProtobufRecordUtil(m_world.record); }

    World m_world;
    Reference& m_reference;
    Statistics& m_statistics;
    std::vector<Place> m_places;
    ExprTree m_tree;
    std::string m_description;
    std::vector<int> m_expectedPositions;
    std::vector<int> m_positions;
};

MutableProtobufField HandleOf(const Place& place, const FieldDescriptor* field) {
    return {place.message, field};
}

PbField SourceOf(const Source& source, const google::protobuf::Message* message) {
    PbField pb;
    pb.SetField(message, source.field, source.isMutable);
    if (source.isRange) {
        pb.SetArrayRange(source.begin, source.end);
    }
    return pb;
}

FieldPlace Runner::ChooseField(Chooser& chooser, bool isRepeated, bool isOftenFilled) {
    if (isOftenFilled && !chooser.Rarely(4)) {
        std::vector<FieldPlace> filled;
        for (const Place& place : m_places) {
            for (const FieldDescriptor* field : FieldsOf(place.node->type, isRepeated)) {
                if (place.node->Has(field)) {
                    filled.push_back({place, field});
                }
            }
        }
        if (!filled.empty()) {
            return chooser.Of(filled);
        }
    }
    // The records themselves come first, and often.
    const Place place = chooser.Flag() ? chooser.Of(m_places) : m_places[0];
    std::vector<const FieldDescriptor*> fields = FieldsOf(place.node->type, isRepeated);
    if (fields.empty()) {
        return {m_places[0], FieldsOf(m_places[0].node->type, isRepeated)[0]};
    }
    return {place, chooser.Of(fields)};
}

// A value that stands in a field, singular or repeated, of any of the records.
bool Runner::ChooseFieldValue(Chooser& chooser, Literal& literal) {
    const FieldPlace at = ChooseField(chooser, chooser.Flag());
    const int size = at.place.node->Size(at.field);
    const FieldDescriptor::CppType type = at.field->cpp_type();
    if (size == 0 || type == FieldDescriptor::CPPTYPE_MESSAGE || type == FieldDescriptor::CPPTYPE_ENUM) {
        return false;
    }
    const int i = chooser.Next(size);
    const std::string& text = at.place.node->Of(at.field)[static_cast<size_t>(i)].text;
    literal = Literal();
    literal.isField = true;
    literal.field.SetField(at.place.message, at.field, chooser.Flag());
    if (at.field->is_repeated()) {
        literal.field.SetArrayElementIdx(i);
    }
    switch (type) {
        case FieldDescriptor::CPPTYPE_STRING:
            literal.kind = Literal::Kind::Text;
            literal.text = text;
            return true;
        case FieldDescriptor::CPPTYPE_DOUBLE:
        case FieldDescriptor::CPPTYPE_FLOAT:
            literal.kind = Literal::Kind::Float;
            literal.real = std::strtod(text.c_str(), nullptr);
            return true;
        case FieldDescriptor::CPPTYPE_INT32:
        case FieldDescriptor::CPPTYPE_INT64:
            literal.kind = Literal::Kind::Int;
            literal.int64 = std::strtoll(text.c_str(), nullptr, 10);
            return true;
        default:
            literal.kind = Literal::Kind::UInt;
            literal.uint64 = std::strtoull(text.c_str(), nullptr, 10);
            return true;
    }
}

// A field of the same type, anywhere.
bool Runner::ChooseSource(Chooser& chooser, const FieldDescriptor* field, FieldPlace& source) {
    std::vector<FieldPlace> filled;
    std::vector<FieldPlace> all;
    for (const Place& place : m_places) {
        for (const FieldDescriptor* candidate : FieldsOf(place.node->type, field->is_repeated())) {
            if (IsOneType(candidate, field)) {
                all.push_back({place, candidate});
                if (place.node->Has(candidate)) {
                    filled.push_back({place, candidate});
                }
            }
        }
    }
    const bool isAny = filled.empty() || chooser.Rarely(8);
    source = chooser.Of(isAny ? all : filled);
    return true;
}

Source Runner::ChooseRun(Chooser& chooser, const FieldPlace& from) {
    Source source = {from.place.node, from.field, chooser.Flag(), false, 0, 0};
    const int size = from.place.node->Size(from.field);
    if (size > 0 && chooser.Flag()) {
        source.isRange = true;
        source.begin = chooser.Next(size);
        // Up to two before the begin: a run of nothing, and one of less than nothing.
        source.end = source.begin + chooser.Next(size - source.begin + 2) - 2;
        source.end = std::max(source.end, source.begin - 2);
        if (chooser.Flag()) {
            source.end = size - 1;
        }
    }
    return source;
}

// Whether no element that is written holds the source, and none that is read the target.
bool Runner::IsApart(const Source& source, const Target& target, int firstWritten, int lastWritten) const {
    if (target.field->message_type() == nullptr) {
        return true;
    }
    const Values& written = target.parent->Of(target.field);
    for (int i = std::max(firstWritten, 0); i <= lastWritten && i < static_cast<int>(written.size()); ++i) {
        if (IsInside(source.message, *written[static_cast<size_t>(i)].node)) {
            return false;
        }
    }
    for (const Value& read : source.message->Of(source.field)) {
        if (IsInside(target.parent, *read.node)) {
            return false;
        }
    }
    return true;
}

std::string Runner::ShowSource(const Source& source, const std::string& path) const {
    std::string text = " from " + path + (source.field == nullptr ? "" : "." + std::string(source.field->name()));
    if (source.isRange) {
        text += " [" + std::to_string(source.begin) + ", " + std::to_string(source.end) + "]";
    }
    return text + (source.isMutable ? " moved" : " copied");
}

// Whether a condition has one meaning for all elements. An entry of a map that was made without its value has the
// default one for readers of the map, and none as a message.
bool IsPlain(const FieldPlace& at, const Filter& filter) {
    const google::protobuf::Reflection* reflection = at.place.message->GetReflection();
    for (int i = 0; at.field->is_map() && filter.subField != nullptr && i < at.place.node->Size(at.field); ++i) {
        const auto& entry = reflection->GetRepeatedMessage(*at.place.message, at.field, i);
        if (!entry.GetReflection()->HasField(entry, filter.subField)) {
            return false;
        }
    }
    return true;
}

// Gives elements to a field, so that the operations have something to work on.
std::string Runner::Fill(Chooser& chooser) {
    const FieldPlace at = ChooseField(chooser, !chooser.Rarely(3), false);
    // Now and then more than a word of marks, and than the few messages that are moved by their contents.
    const bool isMany = chooser.Rarely(at.field->message_type() != nullptr ? 6 : 20);
    const int count = (isMany ? 20 + chooser.Next(60) : 1) + chooser.Next(4);
    const int first = chooser.Next(8);
    m_description = "fill " + Name(at) + " with " + std::to_string(count) + " from " + std::to_string(first);
    m_world.Fill(at.place, at.field, count, first);
    return "";
}

Runner::Operation Runner::Element(Chooser& chooser, bool isPush) {
    FieldPlace at = ChooseField(chooser, true);
    if (chooser.Rarely(6)) {
        // Messages have the most rules.
        std::vector<FieldPlace> messages;
        for (const FieldDescriptor* field : FieldsOf(m_places[0].node->type, true)) {
            if (field->message_type() != nullptr) {
                messages.push_back({m_places[0], field});
            }
        }
        at = chooser.Of(messages);
    }
    const Target target = {at.place.node, at.field};
    ElementExpr expr = ChooseElementExpr(chooser, at.field, at.place.node->Size(at.field));
    // A later entry could read what an earlier one wrote: such a value is the only one.
    Literal fieldValue;
    if (expr.entries.size() == 1 && chooser.Rarely(4) && ChooseFieldValue(chooser, fieldValue)) {
        expr.entries[0].value = fieldValue;
    }
    const auto type = isPush ? OstraneCommon::EXPR_OP_PUSH : OstraneCommon::EXPR_OP_SET;
    OstraneCommon::Expr& tree = MakeTree(m_tree, type, expr);
    expr.shown = tree.ToStr();
    if (expr.entries.size() == 1 && expr.entries[0].value.isField && expr.entries[0].isAssign &&
        expr.entries[0].hasValue) {
        expr.entries[0].value.shown = tree.OperandRef(1).OperandRef(0).m_self.ToStr();
    }
    m_description = (isPush ? "push " : "set ") + Name(at) + " by " + expr.shown;
    // Whether a map's entry without its message counts as complete is for protobuf to say: generated and dynamic
    // entries differ.
    const bool isAllowed =
        !isPush || !at.field->is_map() || at.field->message_type()->field(1)->message_type() == nullptr ||
        expr.entries.empty() ||
        std::any_of(expr.entries.begin(), expr.entries.end(), [](const Entry& entry) { return entry.name != "key"; });
    return {isPush ? "PushWithExpr" : "SetWithExpr",
            isAllowed,
            [=] { return isPush ? m_reference.PushWithExpr(target, expr) : m_reference.SetWithExpr(target, expr); },
            [=, &tree] {
                MutableProtobufField field = HandleOf(at.place, at.field);
                return isPush ? Util().PushWithExpr(field, tree) : Util().SetWithExpr(field, tree);
            },
            KindOf(at.field),
            {SizeOf(at.place.node->Size(at.field))}};
}

// What an update leaves to its caller.
bool Runner::IsUpdateAllowed(const Target& target, const Source& source) const {
    const bool isSame = source.message == target.parent;
    const bool isOuter = !isSame && IsInside(target.parent, *source.message);
    const bool isInner = !isSame && IsInside(source.message, *target.parent);
    if (target.field == nullptr) {
        return source.field != nullptr || (!isOuter && !isInner);
    }
    if (!target.field->is_repeated()) {
        return source.field != nullptr || (!isOuter && !(isSame && source.isMutable));
    }
    for (const Value& element : target.parent->Of(target.field)) {
        if (element.node != nullptr && IsInside(source.message, *element.node)) {
            return false;
        }
    }
    if (source.field != nullptr) {
        return IsApart(source, target, 0, -1);
    }
    return !isOuter && !(isSame && source.isMutable);
}

Runner::Operation Runner::Update(Chooser& chooser) {
    static const std::vector<OstraneCommon::ExprType> types = {OstraneCommon::EXPR_OP_SET, OstraneCommon::EXPR_OP_PUSH,
                                                               OstraneCommon::EXPR_NONE, OstraneCommon::EXPR_OP_POP};
    const OstraneCommon::ExprType type = chooser.Of(types);
    FieldPlace at = ChooseField(chooser, chooser.Flag());
    const bool isWhole = chooser.Rarely(4);
    const bool hasSource = !chooser.Rarely(8);
    bool isAllowed = true;
    FieldPlace from;
    Source source = {};
    if (isWhole || (at.field->message_type() != nullptr && !at.field->is_map() && chooser.Flag())) {
        // A whole message, mostly; a field of it now and then.
        const Descriptor* wanted = isWhole ? at.place.node->type : at.field->message_type();
        std::vector<Place> alike;
        for (const Place& place : m_places) {
            if (place.node->type == wanted || (isWhole && m_places.size() % 3 == 0)) {
                alike.push_back(place);
            }
        }
        isAllowed = !alike.empty();
        from.place = isAllowed ? chooser.Of(alike) : m_places[0];
        source = {from.place.node, nullptr, chooser.Flag(), false, 0, 0};
        if (isWhole && chooser.Rarely(4)) {
            const std::vector<const FieldDescriptor*> fields = FieldsOf(from.place.node->type, chooser.Flag());
            source.field = fields.empty() ? nullptr : chooser.Of(fields);
        }
    } else {
        ChooseSource(chooser, at.field, from);
        source = at.field->is_repeated() ? ChooseRun(chooser, from)
                                         : Source{from.place.node, from.field, chooser.Flag(), false, 0, 0};
    }
    const Target target = {at.place.node, isWhole ? nullptr : at.field};
    const bool isPop = type == OstraneCommon::EXPR_OP_POP;
    isAllowed &= isPop || !hasSource || IsUpdateAllowed(target, source);
    m_description = "update " + (isWhole ? at.place.path : Name(at)) + " kind " + std::to_string(type) +
                    (hasSource ? ShowSource(source, from.place.path) : " from nothing");
    return {"UpdateWithPbField",
            isAllowed,
            [=] { return m_reference.UpdateWithPbField(target, type, hasSource ? &source : nullptr); },
            [=] {
                MutableProtobufField field = HandleOf(at.place, target.field);
                PbField pb = SourceOf(source, from.place.message);
                return Util().UpdateWithPbField(field, type, hasSource ? &pb : nullptr);
            },
            isWhole ? "whole message" : (at.field->is_repeated() ? "repeated " : "singular ") + KindOf(at.field),
            isPop       ? std::vector<std::string>{"pop"}
            : hasSource ? MeetingsOf(source, target)
                        : std::vector<std::string>{"no source"}};
}

Runner::Operation Runner::SetFrom(Chooser& chooser) {
    const FieldPlace at = ChooseField(chooser, true);
    FieldPlace from;
    ChooseSource(chooser, at.field, from);
    const Source source = ChooseRun(chooser, from);
    const Target target = {at.place.node, at.field};
    const int size = at.place.node->Size(at.field);
    const int idxBegin = chooser.Next(2 * size + 1) - size;
    const int idxEnd = chooser.Rarely(8) ? chooser.Next(2 * size + 3) - size : idxBegin + chooser.Next(3);
    const int first = idxBegin < 0 ? idxBegin + size : idxBegin;
    const int last = idxEnd < 0 ? idxEnd + size : idxEnd;
    m_description = "set " + Name(at) + " " + std::to_string(idxBegin) + " to " + std::to_string(idxEnd) +
                    ShowSource(source, from.place.path);
    return {"SetWithPbField",
            IsApart(source, target, first, last),
            [=] { return m_reference.SetWithPbField(target, idxBegin, idxEnd, source); },
            [=] {
                MutableProtobufField field = HandleOf(at.place, at.field);
                PbField pb = SourceOf(source, from.place.message);
                return Util().SetWithPbField(field, idxBegin, idxEnd, pb);
            },
            KindOf(at.field),
            MeetingsOf(source, target)};
}

Runner::Operation Runner::PushFrom(Chooser& chooser) {
    const FieldPlace at = ChooseField(chooser, true);
    const Target target = {at.place.node, at.field};
    const int size = at.place.node->Size(at.field);
    const int pos = chooser.Next(size + 3) - 1;
    FieldPlace from;
    Source source = {};
    bool isAllowed = true;
    if (at.field->message_type() != nullptr && !at.field->is_map() && chooser.Rarely(4)) {
        std::vector<Place> alike;
        for (const Place& place : m_places) {
            if (place.node->type == at.field->message_type()) {
                alike.push_back(place);
            }
        }
        isAllowed = !alike.empty();
        from.place = isAllowed ? chooser.Of(alike) : m_places[0];
        source = {from.place.node, nullptr, chooser.Flag(), false, 0, 0};
        isAllowed &= source.message == target.parent ? !source.isMutable : !IsInside(target.parent, *source.message);
    } else {
        ChooseSource(chooser, at.field, from);
        source = ChooseRun(chooser, from);
        const int count = source.isRange ? source.end - source.begin + 1 : source.message->Size(source.field);
        // The pass moves what is written over later elements.
        isAllowed = IsApart(source, target, pos == -1 ? size : pos, (pos == -1 ? size : pos) + count - 2);
    }
    m_description = "push " + Name(at) + " at " + std::to_string(pos) + ShowSource(source, from.place.path);
    return {"PushWithPbField",
            isAllowed,
            [=] { return m_reference.PushWithPbField(target, pos, source); },
            [=] {
                MutableProtobufField field = HandleOf(at.place, at.field);
                PbField pb = SourceOf(source, from.place.message);
                return Util().PushWithPbField(field, pos, pb);
            },
            KindOf(at.field),
            MeetingsOf(source, target)};
}

Runner::Operation Runner::PopExpr(Chooser& chooser) {
    const FieldPlace at = ChooseField(chooser, true);
    const Target target = {at.place.node, at.field};
    const SelectExpr expr = ChooseSelectExpr(chooser, at.field);
    OstraneCommon::Expr& tree = MakeTree(m_tree, expr);
    m_description = "pop " + Name(at) + " by " + tree.ToStr();
    return {"PopWithExpr",
            IsPlain(at, expr.filter),
            [=] { return m_reference.PopWithExpr(target, expr); },
            [=, &tree] {
                MutableProtobufField field = HandleOf(at.place, at.field);
                return Util().PopWithExpr(field, tree);
            },
            KindOf(at.field),
            {"filter " + std::to_string(static_cast<int>(expr.filter.kind)), SizeOf(at.place.node->Size(at.field))}};
}

Runner::Operation Runner::PopRange(Chooser& chooser) {
    const FieldPlace at = ChooseField(chooser, true);
    const Target target = {at.place.node, at.field};
    const Filter filter = ChooseFilter(chooser, at.field);
    const Ranges ranges = ChooseRanges(chooser);
    OstraneCommon::Expr* tree = MakeTree(m_tree, filter);
    m_description = "pop " + Name(at) + Show(ranges) + Show(filter);
    return {"PopWithRange",
            IsPlain(at, filter),
            [=] { return m_reference.PopWithRange(target, ranges, filter); },
            [=] {
                MutableProtobufField field = HandleOf(at.place, at.field);
                OstraneCommon::IndexRangeList list = ranges;
                return Util().PopWithRange(field, list, tree);
            },
            KindOf(at.field),
            {"filter " + std::to_string(static_cast<int>(filter.kind)), SizeOf(at.place.node->Size(at.field))}};
}

Runner::Operation Runner::Get(Chooser& chooser) {
    FieldPlace at = ChooseField(chooser, true);
    // Now and then everything of a long field, which is moved in another way than a few elements are.
    bool isAll = false;
    if (chooser.Rarely(4)) {
        for (const Place& place : m_places) {
            for (const FieldDescriptor* field : FieldsOf(place.node->type, true)) {
                if (!isAll && IsLong(place.node->Size(field)) && field->message_type() != nullptr) {
                    at = {place, field};
                    isAll = true;
                }
            }
        }
    }
    const Target source = {at.place.node, at.field};
    FieldPlace to;
    ChooseSource(chooser, at.field, to);
    if (isAll && chooser.Flag()) {
        // Between owners, which cannot hand over what they hold.
        for (const Place& place : m_places) {
            if (place.node->type == at.place.node->type && place.message->GetArena() != at.place.message->GetArena()) {
                to = {place, at.field};
            }
        }
    }
    const Target target = {to.place.node, to.field};
    const bool isMutable = chooser.Flag();
    const bool byHandle = isMutable && chooser.Flag();
    const bool wantsPositions = chooser.Flag();
    const Filter filter = isAll ? Filter{Filter::Kind::None, nullptr, 0, ""} : ChooseFilter(chooser, at.field);
    const Ranges ranges = isAll ? Ranges{} : ChooseRanges(chooser);
    OstraneCommon::Expr* tree = MakeTree(m_tree, filter);
    bool isAllowed = IsPlain(at, filter);
    for (const Value& element : at.place.node->Of(at.field)) {
        isAllowed &= !isMutable || element.node == nullptr || !IsInside(target.parent, *element.node);
    }
    const std::string owner = to.place.message->GetArena() == at.place.message->GetArena() ? "one owner" : "two owners";
    m_description =
        "get " + Name(at) + Show(ranges) + Show(filter) + (isMutable ? " moved to " : " copied to ") + Name(to);
    return {byHandle ? "GetWithRange by handle" : "GetWithRange",
            isAllowed,
            [=] {
                m_expectedPositions = {9};
                return m_reference.GetWithRange(source, isMutable, ranges, filter, target,
                                                wantsPositions ? &m_expectedPositions : nullptr);
            },
            [=] {
                m_positions = {9};
                MutableProtobufField destination = HandleOf(to.place, to.field);
                OstraneCommon::IndexRangeList list = ranges;
                std::vector<int>* positions = wantsPositions ? &m_positions : nullptr;
                if (byHandle) {
                    MutableProtobufField handle = HandleOf(at.place, at.field);
                    return Util().GetWithRange(handle, list, tree, destination, positions);
                }
                ProtobufField handle = {at.place.message, at.field};
                return Util().GetWithRange(handle, isMutable, list, tree, destination, positions);
            },
            KindOf(at.field),
            {"filter " + std::to_string(static_cast<int>(filter.kind)), SizeOf(at.place.node->Size(at.field)),
             std::string(isMutable ? "moved, " : "copied, ") +
                 RelationOf({to.place.node, to.field, isMutable, false, 0, 0}, source),
             std::string(isAll ? "many " : "") + (isMutable ? "moved" : "copied") + " between " + owner}};
}

std::string Runner::Compare(const Operation& operation) {
    const auto before = m_world.CopyModels();
    m_reference.lines.clear();
    m_expectedPositions.clear();
    m_positions.clear();
    // What the operations leave open is not tried: the models are put back, and the records left alone.
    const int expected = operation.isAllowed ? operation.expect() : 0;
    if (!operation.isAllowed || !m_world.IsSound()) {
        m_world.RestoreModels(before);
        ++m_statistics.skipped;
        m_description += "  (left out)";
        return "";
    }
    ++m_statistics.operations[operation.name];
    ++m_statistics.codes[expected];
    const std::string cell = operation.name + " / " + operation.kind + " / ";
    ++m_statistics.cells[cell + std::to_string(expected)];
    for (const std::string& meeting : operation.meetings) {
        ++m_statistics.cells[cell + meeting];
    }
    m_world.log.Clear();
    const int code = operation.run();
    if (code != expected) {
        return "code\n  expected " + std::to_string(expected) + "\n  is       " + std::to_string(code);
    }
    const std::vector<std::string> lines = m_world.log.TakeLines();
    if (!AreLines(lines, m_reference.lines)) {
        return "lines\n  expected" + Join(m_reference.lines) + "\n  are" + Join(lines);
    }
    if (m_positions != m_expectedPositions) {
        return "the positions differ";
    }
    const std::string difference = m_world.Difference();
    if (difference.empty()) {
        m_world.FollowRecords();
    }
    return difference;
}

std::string Runner::RunStep(const Step& step) {
    Chooser chooser(step);
    m_places = m_world.Places();
    switch (chooser.Next(14)) {
        case 1:
            return Compare(Element(chooser, true));
        case 2:
            return Compare(Element(chooser, false));
        case 3:
            return Compare(Update(chooser));
        case 4:
            return Compare(SetFrom(chooser));
        case 5:
        case 6:
            return Compare(PushFrom(chooser));
        case 7:
            return Compare(PopExpr(chooser));
        case 8:
            return Compare(PopRange(chooser));
        case 9:
        case 10:
            return Compare(Get(chooser));
        default:
            return Fill(chooser);
    }
}

}  // namespace

std::optional<Mismatch> RunSequence(const Sequence& sequence, Reference& reference, Statistics* statistics) {
    Statistics ignored;
    Runner runner(sequence.world, reference, statistics == nullptr ? ignored : *statistics);
    for (size_t i = 0; i < sequence.steps.size(); ++i) {
        const std::string difference = runner.RunStep(sequence.steps[i]);
        if (!difference.empty()) {
            return Mismatch{i, runner.Description(), difference};
        }
    }
    const std::string difference = runner.GetWorld().DifferenceWhenReadBack();
    if (!difference.empty()) {
        return Mismatch{sequence.steps.size(), "written and read back", difference};
    }
    return std::nullopt;
}

std::string Describe(const Sequence& sequence, Reference& reference) {
    Statistics ignored;
    Runner runner(sequence.world, reference, ignored);
    std::string text = "world " + std::to_string(sequence.world);
    for (const Step& step : sequence.steps) {
        const std::string difference = runner.RunStep(step);
        text += "\n  " + runner.Description();
        if (!difference.empty()) {
            break;
        }
    }
    return text;
}

}  // namespace model
