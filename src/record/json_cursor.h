// Reads JSON text one token at a time, with the place of everything that is wrong.
//
//   JsonCursor cursor(text.data(), text.size());
//   cursor.BeginObject();
//   while (cursor.NextMember(name)) { .. cursor.ReadString(value) .. }
//   if (cursor.HasFailed()) { .. cursor.Offset(), cursor.Message() .. }
//
// Strict: no comments, no trailing commas, names in double quotes, text in UTF-8, no lone surrogates.
#ifndef OSTRANE_RECORD_JSON_CURSOR_H_
#define OSTRANE_RECORD_JSON_CURSOR_H_

#include <cstddef>
#include <string>
#include <vector>

namespace OstraneRecord {

enum class JsonKind { Object, Array, String, Number, True, False, Null, End, Other };

// The text outlives the cursor. After the first failure every call returns false.
class JsonCursor {
public:
    JsonCursor(const char* text, size_t size) : m_text(text), m_size(size) {}

    // What comes next, white space passed over. Other: a character that starts no value.
    JsonKind Peek();
    // Where the next token starts, or, after a failure, what is at fault.
    size_t Offset() const { return m_pos; }

    // Enters an object; its members are then read by NextMember, each followed by reading its value.
    bool BeginObject();
    // The next member's name. False at the object's end, which is left, and on failure.
    bool NextMember(std::string& name);
    // Where the next member's name will start, when there is one: for telling its place after it was read.
    size_t NextOffset() const;
    // Enters an array; each NextElement is followed by reading a value.
    bool BeginArray();
    // False at the array's end, which is left, and on failure.
    bool NextElement();

    bool ReadString(std::string& value);
    // The number as it is written.
    bool ReadNumber(std::string& text);
    // true, false or null; which one is known from Peek.
    bool ReadLiteral();
    // Passes over one value of any kind.
    bool SkipValue();
    // Nothing but white space is left.
    bool ExpectEnd();

    // A place to come back to: the cursor with its open objects and arrays.
    struct Mark {
        size_t pos;
        size_t openCount;
        bool isFirst;
    };
    Mark MarkHere() const { return Mark{m_pos, m_open.size(), m_isFirst}; }
    // Only while the objects and arrays open at the mark have not been left.
    void GoBack(const Mark& mark);

    // Stops here with a reason of the caller's. Returns false.
    bool Fail(const std::string& message) { return FailAt(m_pos, message); }
    bool FailAt(size_t offset, const std::string& message);
    bool HasFailed() const { return m_hasFailed; }
    const std::string& Message() const { return m_message; }

private:
    void SkipSpace();
    bool EnterNested(char open);
    bool ReadEscape(std::string& value);
    bool ReadHex4(unsigned& value);
    bool ExpectSeparator(char close, bool& isEnd);
    std::string Describe() const;

    const char* m_text;
    size_t m_size;
    size_t m_pos = 0;
    std::vector<char> m_open;  // '{' and '[' that are not closed yet
    bool m_isFirst = false;    // nothing read yet in the innermost one
    bool m_hasFailed = false;
    std::string m_message;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_JSON_CURSOR_H_
