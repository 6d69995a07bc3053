// Only values that are moved as bytes are moved by marks.
#include <string>

#include "common/match_runs.h"

#ifdef FORBIDDEN
using Element = std::string;
#else
using Element = int64_t;
#endif

size_t Use(Element* data, const std::vector<bool>& marks);
size_t Use(Element* data, const std::vector<bool>& marks) {
    return OstraneCommon::MoveUnmarkedDown(data, 0, marks);
}
