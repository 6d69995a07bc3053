// Bytes written as text.
#ifndef OSTRANE_EXPR_BASE64_H_
#define OSTRANE_EXPR_BASE64_H_

#include <string>

namespace OstraneCommon {

// Appends the bytes in the usual alphabet, padded.
void AppendBase64(const std::string& bytes, std::string& out);

// Decodes base64 in its usual or its URL alphabet, with or without padding (RFC 4648). False, and `bytes`
// untouched, for anything else.
bool DecodeBase64(const std::string& text, std::string& bytes);

// For whoever gives something else for bytes.
constexpr const char* BASE64_HINT = "the bytes of the text ab are written YWI=";

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_BASE64_H_
