// A text is walked by code points, and each is as wide as a terminal shows it: an accent that joins
// the letter before it takes no column, an ideograph two. So the caret stands below its place.
#include <cstdint>
#include <string>

#include "expr/code_point.h"
#include "expr/parse_context.h"

namespace OstraneCommon {
namespace {

// Code points shown on either side of the caret when a line is cut.
constexpr int CONTEXT_WIDTH = 60;
// What stands for a byte or a character that a terminal must not be given.
constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";
constexpr const char* ELLIPSIS = "...";

// The blocks of marks that join the character before them.
constexpr CodePointRange NO_COLUMN[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x064B, 0x065F}, {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF}, {0x200B, 0x200D}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F},
};
// The blocks of ideographs, syllables, full-width forms and pictographs.
constexpr CodePointRange TWO_COLUMNS[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97F}, {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F},
    {0x1F680, 0x1F6FF}, {0x1F900, 0x1FAFF}, {0x20000, 0x3FFFD},
};

// What a terminal shows of a code point, and how many columns that takes. A tab stays a tab, below it
// too, so that it ends at the same stop on both lines.
std::string ShownText(const std::string& text, size_t offset, const CodePoint& point) {
    if (point.isValid && (point.value == '\t' || !IsUnsafeCodePoint(point.value))) {
        return text.substr(offset, point.length);
    }
    return REPLACEMENT;
}

std::string CaretPadding(const CodePoint& point) {
    if (!point.isValid) {
        return " ";
    }
    if (point.value == '\t') {
        return "\t";
    }
    if (IsInRanges(NO_COLUMN, point.value)) {
        return "";
    }
    return IsInRanges(TWO_COLUMNS, point.value) ? "  " : " ";
}

size_t LineBegin(const std::string& text, size_t offset) {
    const size_t feed = offset == 0 ? std::string::npos : text.rfind('\n', offset - 1);
    return feed == std::string::npos ? 0 : feed + 1;
}

size_t LineEnd(const std::string& text, size_t offset) {
    size_t end = text.find('\n', offset);
    if (end == std::string::npos) {
        end = text.size();
    }
    // The carriage return of a line that ends with both is no part of it.
    return end > offset && text[end - 1] == '\r' ? end - 1 : end;
}

// The line of `text` that holds `offset`, and the caret below it.
std::string MarkedLine(const std::string& text, size_t offset) {
    const size_t target = offset < text.size() ? offset : text.size();
    const size_t begin = LineBegin(text, target);
    const size_t end = LineEnd(text, target);

    // Where to start: at the line's begin, or, when that is far, a fixed number of code points before.
    size_t from = target;
    for (int width = 0; width < CONTEXT_WIDTH && from > begin; ++width) {
        int length = 1;
        --from;
        for (; length < 4 && from > begin && (static_cast<unsigned char>(text[from]) & 0xC0) == 0x80; ++length) {
            --from;
        }
    }
    std::string line;
    std::string caret;
    if (from > begin) {
        line = ELLIPSIS;
        caret = std::string(line.size(), ' ');
    }
    for (size_t i = from; i < target;) {
        const CodePoint point = CodePointAt(text, i);
        line += ShownText(text, i, point);
        caret += CaretPadding(point);
        i += point.length;
    }
    size_t to = target;
    for (int width = 0; width < CONTEXT_WIDTH && to < end; ++width) {
        const CodePoint point = CodePointAt(text, to);
        line += ShownText(text, to, point);
        to += point.length;
    }
    if (to < end) {
        line += ELLIPSIS;
    }
    return "  " + line + "\n  " + caret + "^\n";
}

}  // namespace

void LocateError(const std::string& text, ExprError& error) {
    const size_t target = error.offset < text.size() ? error.offset : text.size();
    error.line = 1;
    error.column = 1;
    const size_t begin = LineBegin(text, target);
    for (size_t i = 0; i < begin; ++i) {
        error.line += text[i] == '\n' ? 1 : 0;
    }
    for (size_t i = begin; i < target;) {
        i += CodePointAt(text, i).length;
        error.column += i <= target ? 1 : 0;
    }
}

std::string ShowError(const std::string& text, const ExprError& error, const std::string& codeName) {
    std::string out = "error " + std::to_string(error.code) + " " + codeName + ": " + error.message;
    if (error.line > 0 && text.find('\n') != std::string::npos) {
        out += " (line " + std::to_string(error.line) + ", column " + std::to_string(error.column) + ")";
    }
    out += "\n";
    if (error.line > 0) {
        out += MarkedLine(text, error.offset);
    }
    if (!error.hint.empty()) {
        out += "  hint: " + error.hint + "\n";
    }
    return out;
}

}  // namespace OstraneCommon
