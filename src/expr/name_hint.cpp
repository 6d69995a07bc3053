#include "expr/name_hint.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <cstddef>

namespace OstraneCommon {
namespace {

// A longer name is no typing mistake but something pasted in; comparing it would cost its length squared.
constexpr size_t MAX_COMPARED_LENGTH = 256;

std::string LowerCase(const std::string& text) {
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

// Insertions, removals, replacements and exchanges of neighbours that turn `from` into `to`:
// the optimal string alignment distance, three rows at a time.
size_t EditDistance(const std::string& from, const std::string& to) {
    std::vector<size_t> beforeLast(to.size() + 1);
    std::vector<size_t> last(to.size() + 1);
    std::vector<size_t> row(to.size() + 1);
    for (size_t j = 0; j <= to.size(); ++j) {
        last[j] = j;
    }
    for (size_t i = 1; i <= from.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= to.size(); ++j) {
            const size_t replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        beforeLast.swap(last);
        last.swap(row);
    }
    return last[to.size()];
}

// "sku, qty, state": the first ones, when there are many, each between `before` and `behind`.
std::string Listed(const std::vector<std::string>& names, const char* before, const char* behind,
                   size_t mostListed = 8) {
    std::string list;
    for (size_t i = 0; i < names.size() && i < mostListed; ++i) {
        list += (i == 0 ? "" : ", ") + (before + names[i] + behind);
    }
    return names.size() > mostListed ? list + ", .." : list;
}

std::vector<std::string> FieldNames(const google::protobuf::Descriptor* type) {
    std::vector<std::string> names;
    for (int i = 0; i < type->field_count(); ++i) {
        names.emplace_back(type->field(i)->name());
    }
    return names;
}

// Whether the schema has the oneof, rather than an `optional` of proto3 that brings one along.
bool IsWritten(const google::protobuf::OneofDescriptor* oneof) {
#if GOOGLE_PROTOBUF_VERSION >= 3012000
    return oneof->field(0)->real_containing_oneof() != nullptr;
#else
    return oneof != nullptr;
#endif
}

// Empty when the name is no oneof's.
std::string OneofHint(const google::protobuf::Descriptor* type, const std::string& name) {
    const google::protobuf::OneofDescriptor* const oneof = type->FindOneofByName(name);
    if (oneof == nullptr || !IsWritten(oneof)) {
        return std::string();
    }
    std::vector<std::string> members;
    for (int i = 0; i < oneof->field_count(); ++i) {
        members.emplace_back(oneof->field(i)->name());
    }
    return name + " is a oneof of " + Listed(members, "", "") + ": name one of them";
}

}  // namespace

std::string NearestName(const std::string& name, const std::vector<std::string>& candidates) {
    if (name.empty() || name.size() > MAX_COMPARED_LENGTH) {
        return std::string();
    }
    const std::string wanted = LowerCase(name);
    std::string nearest;
    size_t nearestDistance = std::max<size_t>(1, wanted.size() / 3) + 1;
    const auto offer = [&](const std::string& compared, const std::string& candidate) {
        const size_t distance = EditDistance(wanted, compared);
        if (distance < nearestDistance && distance < compared.size()) {
            nearestDistance = distance;
            nearest = candidate;
        }
    };
    for (const std::string& candidate : candidates) {
        if (candidate.size() > MAX_COMPARED_LENGTH) {
            continue;
        }
        const std::string lower = LowerCase(candidate);
        offer(lower, candidate);
        const size_t lastDot = lower.rfind('.');
        if (lastDot != std::string::npos && wanted.find('.') == std::string::npos) {
            offer(lower.substr(lastDot + 1), candidate);
        }
    }
    return nearest;
}

std::string NameHint(const std::string& name, const std::vector<std::string>& candidates) {
    const std::string nearest = NearestName(name, candidates);
    return nearest.empty() ? nearest : "did you mean '" + nearest + "'?";
}

std::string FieldHint(const google::protobuf::Descriptor* type, const std::string& name) {
    std::string oneof = OneofHint(type, name);
    if (!oneof.empty()) {
        return oneof;
    }
    std::string nearest = NameHint(name, FieldNames(type));
    // A JSON name in brackets is meant for an extension.
    return !nearest.empty() || name.find('[') != std::string::npos ? nearest : FieldsHint(type);
}

std::string EnumValueHint(const google::protobuf::EnumDescriptor* type, const std::string& name) {
    std::vector<std::string> names;
    for (int i = 0; i < type->value_count(); ++i) {
        names.emplace_back(type->value(i)->name());
    }
    const std::string nearest = NameHint(name, names);
    return !nearest.empty() ? nearest : "its values are " + Listed(names, "'", "'");
}

std::string MessageHint(const google::protobuf::Descriptor* type) {
    return "it is written {" + Listed(FieldNames(type), "", ": ..", 3) + "}";
}

std::string QuotesHint(const std::string& name, const std::string& hint) {
    const bool isWord = name.find_first_of("$.[`'") == std::string::npos && name.size() <= MAX_COMPARED_LENGTH;
    return isWord && hint.compare(0, 3, "its") == 0 ? "a text stands in quotes: '" + name + "'" : hint;
}

std::string FieldsHint(const google::protobuf::Descriptor* type) {
    return type->field_count() == 0 ? "it has no fields" : "its fields are " + Listed(FieldNames(type), "", "");
}

}  // namespace OstraneCommon
