#include "record/json_cursor.h"

#include <cstdint>
#include <cstring>

#include "expr/code_point.h"

namespace OstraneRecord {

namespace {

// Deeper text is hostile: no message nests half as deep.
constexpr size_t MAX_OPEN = 500;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

bool JsonCursor::FailAt(size_t offset, const std::string& message) {
    if (!m_hasFailed) {
        m_hasFailed = true;
        m_pos = offset;
        m_message = message;
    }
    return false;
}

void JsonCursor::SkipSpace() {
    while (m_pos < m_size) {
        const char c = m_text[m_pos];
        if (c != ' ' && c != '\n' && c != '\t' && c != '\r') {
            return;
        }
        ++m_pos;
    }
}

JsonKind JsonCursor::Peek() {
    if (m_hasFailed) {
        return JsonKind::Other;
    }
    SkipSpace();
    if (m_pos == m_size) {
        return JsonKind::End;
    }
    const char c = m_text[m_pos];
    switch (c) {
        case '{':
            return JsonKind::Object;
        case '[':
            return JsonKind::Array;
        case '"':
            return JsonKind::String;
        case 't':
            return JsonKind::True;
        case 'f':
            return JsonKind::False;
        case 'n':
            return JsonKind::Null;
        default:
            return IsDigit(c) || c == '-' ? JsonKind::Number : JsonKind::Other;
    }
}

// The character at the cursor, for a message.
std::string JsonCursor::Describe() const {
    if (m_pos >= m_size) {
        return "the end of the text";
    }
    const OstraneCommon::CodePoint point = OstraneCommon::CodePointAt(m_text, m_size, m_pos);
    if (!point.isValid) {
        return "a byte that is not UTF-8";
    }
    if (static_cast<unsigned char>(m_text[m_pos]) < 0x20) {
        return "a control character";
    }
    return "'" + std::string(m_text + m_pos, point.length) + "'";
}

bool JsonCursor::EnterNested(char open) {
    if (m_hasFailed) {
        return false;
    }
    SkipSpace();
    if (m_pos == m_size || m_text[m_pos] != open) {
        return Fail(std::string("expected '") + open + "', found " + Describe());
    }
    if (m_open.size() == MAX_OPEN) {
        return Fail("nested deeper than " + std::to_string(MAX_OPEN) + " levels");
    }
    m_open.push_back(open);
    m_isFirst = true;
    ++m_pos;
    return true;
}

bool JsonCursor::BeginObject() {
    return EnterNested('{');
}

bool JsonCursor::BeginArray() {
    return EnterNested('[');
}

// Passes over the comma between two, or the closing bracket.
bool JsonCursor::ExpectSeparator(char close, bool& isEnd) {
    SkipSpace();
    const bool isFirst = m_isFirst;
    m_isFirst = false;
    if (m_pos < m_size && m_text[m_pos] == close) {
        m_open.pop_back();
        ++m_pos;
        isEnd = true;
        return true;
    }
    isEnd = false;
    if (isFirst) {
        return true;
    }
    if (m_pos == m_size || m_text[m_pos] != ',') {
        return Fail(std::string("expected ',' or '") + close + "', found " + Describe());
    }
    ++m_pos;
    SkipSpace();
    if (m_pos < m_size && m_text[m_pos] == close) {
        return Fail("a comma stands before the closing bracket");
    }
    return true;
}

bool JsonCursor::NextMember(std::string& name) {
    bool isEnd = false;
    if (m_hasFailed || !ExpectSeparator('}', isEnd) || isEnd) {
        return false;
    }
    if (m_pos == m_size || m_text[m_pos] != '"') {
        return Fail("expected a name in double quotes, found " + Describe());
    }
    if (!ReadString(name)) {
        return false;
    }
    SkipSpace();
    if (m_pos == m_size || m_text[m_pos] != ':') {
        return Fail("expected ':' after the name, found " + Describe());
    }
    ++m_pos;
    return true;
}

size_t JsonCursor::NextOffset() const {
    size_t pos = m_pos;
    bool passedComma = m_isFirst;
    while (pos < m_size) {
        const char c = m_text[pos];
        if (c == ',' && !passedComma) {
            passedComma = true;
        } else if (c != ' ' && c != '\n' && c != '\t' && c != '\r') {
            break;
        }
        ++pos;
    }
    return pos;
}

bool JsonCursor::NextElement() {
    bool isEnd = false;
    return !m_hasFailed && ExpectSeparator(']', isEnd) && !isEnd;
}

bool JsonCursor::ReadHex4(unsigned& value) {
    if (m_size - m_pos < 4) {
        return FailAt(m_size, "expected four hexadecimal digits");
    }
    value = 0;
    for (size_t i = 0; i < 4; ++i) {
        const char c = m_text[m_pos + i];
        const char lower = static_cast<char>(c | 0x20);
        if (!IsDigit(c) && (lower < 'a' || lower > 'f')) {
            return FailAt(m_pos + i, "expected four hexadecimal digits");
        }
        value = value * 16 + static_cast<unsigned>(IsDigit(c) ? c - '0' : lower - 'a' + 10);
    }
    m_pos += 4;
    return true;
}

// The cursor is behind the backslash.
bool JsonCursor::ReadEscape(std::string& value) {
    const size_t start = m_pos - 1;
    const char c = m_pos < m_size ? m_text[m_pos] : '\0';
    ++m_pos;
    static const char NAMES[] = "\"\\/bfnrt";
    static const char MEANINGS[] = "\"\\/\b\f\n\r\t";
    const char* const name = c == '\0' ? nullptr : std::strchr(NAMES, c);
    if (name != nullptr) {
        value += MEANINGS[name - NAMES];
        return true;
    }
    if (c != 'u') {
        return FailAt(start, "an unknown escape in a string");
    }
    unsigned unit = 0;
    if (!ReadHex4(unit)) {
        return false;
    }
    if (unit >= 0xDC00 && unit <= 0xDFFF) {
        return FailAt(start, "a low surrogate without a high one before it");
    }
    if (unit < 0xD800 || unit > 0xDBFF) {
        OstraneCommon::AppendCodePoint(unit, value);
        return true;
    }
    if (m_size - m_pos < 2 || m_text[m_pos] != '\\' || m_text[m_pos + 1] != 'u') {
        return FailAt(start, "a high surrogate without a low one behind it");
    }
    m_pos += 2;
    unsigned low = 0;
    if (!ReadHex4(low)) {
        return false;
    }
    if (low < 0xDC00 || low > 0xDFFF) {
        return FailAt(start, "a high surrogate without a low one behind it");
    }
    OstraneCommon::AppendCodePoint(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00), value);
    return true;
}

bool JsonCursor::ReadString(std::string& value) {
    if (m_hasFailed) {
        return false;
    }
    SkipSpace();
    if (m_pos == m_size || m_text[m_pos] != '"') {
        return Fail("expected a string, found " + Describe());
    }
    const size_t start = m_pos;
    ++m_pos;
    value.clear();
    while (m_pos < m_size) {
        const size_t runStart = m_pos;
        while (m_pos < m_size && m_text[m_pos] != '"' && m_text[m_pos] != '\\' &&
               static_cast<unsigned char>(m_text[m_pos]) >= 0x20) {
            ++m_pos;
        }
        const size_t validLength = OstraneCommon::ValidUtf8Prefix(m_text + runStart, m_pos - runStart);
        if (validLength != m_pos - runStart) {
            return FailAt(runStart + validLength, "the string is not UTF-8");
        }
        value.append(m_text + runStart, m_pos - runStart);
        if (m_pos == m_size) {
            break;
        }
        const char c = m_text[m_pos];
        if (c != '"' && c != '\\') {
            return Fail("a control character in a string, which needs an escape");
        }
        ++m_pos;
        if (c == '"') {
            return true;
        }
        if (!ReadEscape(value)) {
            return false;
        }
    }
    return FailAt(start, "the string has no closing quote");
}

bool JsonCursor::ReadNumber(std::string& text) {
    if (m_hasFailed) {
        return false;
    }
    SkipSpace();
    const size_t start = m_pos;
    const auto passDigits = [this] {
        const size_t first = m_pos;
        while (m_pos < m_size && IsDigit(m_text[m_pos])) {
            ++m_pos;
        }
        return m_pos != first;
    };
    if (m_pos < m_size && m_text[m_pos] == '-') {
        ++m_pos;
    }
    const bool hasLeadingZero = m_pos < m_size && m_text[m_pos] == '0';
    const size_t firstDigit = m_pos;
    if (!passDigits()) {
        return Fail("expected a digit, found " + Describe());
    }
    if (hasLeadingZero && m_pos - firstDigit > 1) {
        return FailAt(start, "a number with a leading zero");
    }
    if (m_pos < m_size && m_text[m_pos] == '.') {
        ++m_pos;
        if (!passDigits()) {
            return Fail("expected a digit after the point, found " + Describe());
        }
    }
    if (m_pos < m_size && (m_text[m_pos] == 'e' || m_text[m_pos] == 'E')) {
        ++m_pos;
        if (m_pos < m_size && (m_text[m_pos] == '+' || m_text[m_pos] == '-')) {
            ++m_pos;
        }
        if (!passDigits()) {
            return Fail("expected a digit in the exponent, found " + Describe());
        }
    }
    text.assign(m_text + start, m_pos - start);
    return true;
}

bool JsonCursor::ReadLiteral() {
    if (m_hasFailed) {
        return false;
    }
    SkipSpace();
    for (const char* word : {"true", "false", "null"}) {
        const size_t length = std::strlen(word);
        if (m_size - m_pos >= length && std::memcmp(m_text + m_pos, word, length) == 0) {
            m_pos += length;
            return true;
        }
    }
    return Fail("expected a value, found " + Describe());
}

bool JsonCursor::SkipValue() {
    const size_t depth = m_open.size();
    std::string ignored;
    do {
        // Inside an object or array: on to its next value, or out of it.
        if (m_open.size() > depth) {
            const bool hasNext = m_open.back() == '{' ? NextMember(ignored) : NextElement();
            if (m_hasFailed) {
                return false;
            }
            if (!hasNext) {
                continue;
            }
        }
        bool isRead = false;
        switch (Peek()) {
            case JsonKind::Object:
                isRead = BeginObject();
                break;
            case JsonKind::Array:
                isRead = BeginArray();
                break;
            case JsonKind::String:
                isRead = ReadString(ignored);
                break;
            case JsonKind::Number:
                isRead = ReadNumber(ignored);
                break;
            default:
                isRead = ReadLiteral();
                break;
        }
        if (!isRead) {
            return false;
        }
    } while (m_open.size() > depth);
    return true;
}

bool JsonCursor::ExpectEnd() {
    if (m_hasFailed) {
        return false;
    }
    SkipSpace();
    return m_pos == m_size || Fail("expected the end of the text, found " + Describe());
}

void JsonCursor::GoBack(const Mark& mark) {
    m_pos = mark.pos;
    m_open.resize(mark.openCount);
    m_isFirst = mark.isFirst;
}

}  // namespace OstraneRecord
