// A line's arguments are what its format says.
#include "common/log.h"

void Use(LogCategory* category, LogEvent* event, const char* text);
void Use(LogCategory* category, LogEvent* event, const char* text) {
#ifdef FORBIDDEN
    LogWriteV(category, event, "%d", text);
#else
    LogWriteV(category, event, "%s", text);
#endif
}
