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

// "sku, qty, state": the first ones, when there are many.
std::string Listed(const std::vector<std::string>& names, const char* quote) {
    constexpr size_t MAX_LISTED = 8;
    std::string list;
    for (size_t i = 0; i < names.size() && i < MAX_LISTED; ++i) {
        list += (i == 0 ? "" : ", ") + (quote + names[i] + quote);
    }
    return names.size() > MAX_LISTED ? list + ", .." : list;
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
    std::vector<std::string> names;
    for (int i = 0; i < type->field_count(); ++i) {
        names.emplace_back(type->field(i)->name());
    }
    std::string nearest = NameHint(name, names);
    // A JSON name in brackets is meant for an extension.
    if (!nearest.empty() || name.find('[') != std::string::npos) {
        return nearest;
    }
    return names.empty() ? "it has no fields" : "its fields are " + Listed(names, "");
}

std::string EnumValueHint(const google::protobuf::EnumDescriptor* type, const std::string& name) {
    std::vector<std::string> names;
    for (int i = 0; i < type->value_count(); ++i) {
        names.emplace_back(type->value(i)->name());
    }
    const std::string nearest = NameHint(name, names);
    return !nearest.empty() ? nearest : "its values are " + Listed(names, "'");
}

}  // namespace OstraneCommon
