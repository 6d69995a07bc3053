#include "expr/name_hint.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace OstraneCommon {
namespace {

// Longer texts are no misspelt names, and comparing them would cost their product.
constexpr size_t MAX_NAME = 64;

// How many letters must be changed, added or dropped (Levenshtein 1966); letters differ by more than case.
size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const bool isSame = (a[i - 1] | 0x20) == (b[j - 1] | 0x20);
            const size_t changed = diagonal + (isSame ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min(changed, std::min(row[j], row[j - 1]) + 1);
        }
    }
    return row[b.size()];
}

class Nearest {
public:
    explicit Nearest(const std::string& name) : m_name(name), m_distance(name.size() / 3 + 2) {}

    void Offer(const std::string& candidate) {
        if (m_name.size() > MAX_NAME || candidate.size() > MAX_NAME) {
            return;
        }
        const size_t distance = EditDistance(m_name, candidate);
        if (distance < m_distance && distance < candidate.size()) {
            m_distance = distance;
            m_best = candidate;
        }
    }

    std::string Hint() const { return m_best.empty() ? std::string() : "did you mean " + m_best + "?"; }

private:
    const std::string& m_name;
    size_t m_distance;
    std::string m_best;
};

}  // namespace

std::string FieldHint(const google::protobuf::Descriptor* descriptor, const std::string& name) {
    Nearest nearest(name);
    for (int i = 0; i < descriptor->field_count(); ++i) {
        nearest.Offer(std::string(descriptor->field(i)->name()));
    }
    return nearest.Hint();
}

std::string EnumValueHint(const google::protobuf::EnumDescriptor* descriptor, const std::string& name) {
    Nearest nearest(name);
    for (int i = 0; i < descriptor->value_count(); ++i) {
        nearest.Offer(std::string(descriptor->value(i)->name()));
    }
    return nearest.Hint();
}

}  // namespace OstraneCommon
