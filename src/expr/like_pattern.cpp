// A pattern is cut at its `%`. The first part must stand at the text's start, the last at its end, and the
// others are found one behind the other, each at its first place: a later place can never help. A part
// without `_` is found by its borders (Knuth, Morris, Pratt 1977), one with `_` by a set of bits that says
// which of its prefixes end here (Baeza-Yates, Gonnet 1992). Nothing ever goes back in the text.
#include "expr/like_pattern.h"

#include <algorithm>

#include "expr/code_point.h"

namespace OstraneCommon {
namespace {

constexpr uint32_t ANY_CHARACTER = 0xFFFFFFFF;
// A byte that is no part of valid UTF-8 counts as this and itself, beyond every code point.
constexpr uint32_t INVALID_BYTE = 0x110000;
constexpr size_t WORD_BITS = 64;

}  // namespace

// Reads a text character by character and knows how many it has passed.
class LikePattern::Reader {
public:
    Reader(const char* text, size_t size, bool isBytes) : m_text(text), m_size(size), m_isBytes(isBytes) {}

    bool AtEnd() const { return m_pos == m_size; }
    size_t Passed() const { return m_passed; }
    uint32_t Next() {
        ++m_passed;
        if (m_isBytes) {
            return static_cast<unsigned char>(m_text[m_pos++]);
        }
        const unsigned char byte = static_cast<unsigned char>(m_text[m_pos]);
        if (byte < 0x80) {
            ++m_pos;
            return byte;
        }
        const CodePoint codePoint = CodePointAt(m_text, m_size, m_pos);
        m_pos += codePoint.length;
        return codePoint.isValid ? codePoint.value : INVALID_BYTE + byte;
    }
    void SkipAll() {
        if (m_isBytes) {
            m_passed += m_size - m_pos;
            m_pos = m_size;
        }
        while (!AtEnd()) {
            Next();
        }
    }
    void SkipTo(size_t passed) {
        while (m_passed < passed) {
            Next();
        }
    }

private:
    const char* m_text;
    size_t m_size;
    bool m_isBytes;
    size_t m_pos = 0;
    size_t m_passed = 0;
};

bool LikePattern::Compile(const char* pattern, size_t size, bool isBytes) {
    m_isBytes = isBytes;
    m_parts.assign(1, Part());
    Reader reader(pattern, size, isBytes);
    bool isAfterRun = false;
    while (!reader.AtEnd()) {
        uint32_t character = reader.Next();
        if (character == '%') {
            if (!isAfterRun) {
                m_parts.emplace_back();
            }
            isAfterRun = true;
            continue;
        }
        isAfterRun = false;
        if (character == '\\') {
            if (reader.AtEnd()) {
                return false;
            }
            character = reader.Next();
        } else if (character == '_') {
            character = ANY_CHARACTER;
            m_parts.back().hasAny = true;
        }
        m_parts.back().characters.push_back(character);
    }
    // First and last part have a fixed place and are compared there.
    for (size_t i = 1; i + 1 < m_parts.size(); ++i) {
        Prepare(m_parts[i]);
    }
    return true;
}

void LikePattern::Prepare(Part& part) {
    const std::vector<uint32_t>& wanted = part.characters;
    if (!part.hasAny) {
        part.fallback.assign(wanted.size(), 0);
        for (size_t i = 1, border = 0; i < wanted.size(); ++i) {
            while (border > 0 && wanted[i] != wanted[border]) {
                border = part.fallback[border - 1];
            }
            border += wanted[i] == wanted[border] ? 1 : 0;
            part.fallback[i] = border;
        }
        return;
    }
    part.wordCount = (wanted.size() + WORD_BITS - 1) / WORD_BITS;
    part.anyMask.assign(part.wordCount, 0);
    std::vector<uint32_t> distinct(wanted);
    std::sort(distinct.begin(), distinct.end());
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    for (size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i] == ANY_CHARACTER) {
            part.anyMask[i / WORD_BITS] |= uint64_t{1} << (i % WORD_BITS);
        }
    }
    for (const uint32_t character : distinct) {
        if (character != ANY_CHARACTER) {
            part.masks.emplace_back(character, part.anyMask);
        }
    }
    for (size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i] == ANY_CHARACTER) {
            continue;
        }
        const auto place =
            std::lower_bound(part.masks.begin(), part.masks.end(), wanted[i],
                             [](const auto& mask, uint32_t character) { return mask.first < character; });
        place->second[i / WORD_BITS] |= uint64_t{1} << (i % WORD_BITS);
    }
}

bool LikePattern::MatchHere(const Part& part, Reader& reader) {
    for (const uint32_t wanted : part.characters) {
        if (reader.AtEnd()) {
            return false;
        }
        const uint32_t character = reader.Next();
        if (wanted != ANY_CHARACTER && wanted != character) {
            return false;
        }
    }
    return true;
}

// Stops right behind the part's first place that ends at or before character `limit`.
bool LikePattern::SearchPlain(const Part& part, Reader& reader, size_t limit) {
    size_t matched = 0;
    while (reader.Passed() < limit) {
        const uint32_t character = reader.Next();
        while (matched > 0 && part.characters[matched] != character) {
            matched = part.fallback[matched - 1];
        }
        matched += part.characters[matched] == character ? 1 : 0;
        if (matched == part.characters.size()) {
            return true;
        }
    }
    return false;
}

bool LikePattern::SearchAny(const Part& part, Reader& reader, size_t limit) {
    const size_t lastBit = part.characters.size() - 1;
    // Bit i: the first i + 1 characters end here.
    std::vector<uint64_t> prefixes(part.wordCount, 0);
    while (reader.Passed() < limit) {
        const uint32_t character = reader.Next();
        const auto found = std::lower_bound(part.masks.begin(), part.masks.end(), character,
                                            [](const auto& mask, uint32_t wanted) { return mask.first < wanted; });
        const bool isKnown = found != part.masks.end() && found->first == character;
        const std::vector<uint64_t>& mask = isKnown ? found->second : part.anyMask;
        uint64_t carry = 1;
        for (size_t i = 0; i < part.wordCount; ++i) {
            const uint64_t next = prefixes[i] >> (WORD_BITS - 1);
            prefixes[i] = ((prefixes[i] << 1) | carry) & mask[i];
            carry = next;
        }
        if ((prefixes[lastBit / WORD_BITS] >> (lastBit % WORD_BITS) & 1) != 0) {
            return true;
        }
    }
    return false;
}

bool LikePattern::Matches(const char* text, size_t size) const {
    Reader reader(text, size, m_isBytes);
    if (!MatchHere(m_parts.front(), reader)) {
        return false;
    }
    if (m_parts.size() == 1) {
        return reader.AtEnd();
    }
    const Part& last = m_parts.back();
    if (m_parts.size() == 2 && last.characters.empty()) {
        return true;
    }
    Reader end(text, size, m_isBytes);
    end.SkipAll();
    const size_t length = end.Passed();
    if (length - reader.Passed() < last.characters.size()) {
        return false;
    }
    const size_t limit = length - last.characters.size();
    for (size_t i = 1; i + 1 < m_parts.size(); ++i) {
        const Part& part = m_parts[i];
        if (!(part.hasAny ? SearchAny(part, reader, limit) : SearchPlain(part, reader, limit))) {
            return false;
        }
    }
    reader.SkipTo(limit);
    return MatchHere(last, reader);
}

bool HasSubstring(const char* text, size_t textSize, const char* part, size_t partSize) {
    if (partSize == 0) {
        return true;
    }
    if (partSize > textSize) {
        return false;
    }
    std::vector<size_t> fallback(partSize, 0);
    for (size_t i = 1, border = 0; i < partSize; ++i) {
        while (border > 0 && part[i] != part[border]) {
            border = fallback[border - 1];
        }
        border += part[i] == part[border] ? 1 : 0;
        fallback[i] = border;
    }
    for (size_t i = 0, matched = 0; i < textSize; ++i) {
        while (matched > 0 && part[matched] != text[i]) {
            matched = fallback[matched - 1];
        }
        matched += part[matched] == text[i] ? 1 : 0;
        if (matched == partSize) {
            return true;
        }
    }
    return false;
}

size_t CountCodePoints(const char* text, size_t size) {
    size_t count = 0;
    for (size_t pos = 0; pos < size; ++count) {
        pos += static_cast<unsigned char>(text[pos]) < 0x80 ? 1 : CodePointAt(text, size, pos).length;
    }
    return count;
}

}  // namespace OstraneCommon
