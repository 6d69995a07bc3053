#include "progress.h"

#include <algorithm>
#include <cmath>

namespace OstraneCli {

namespace {

constexpr size_t BAR_WIDTH = 20;

std::string TwoDigits(int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

// "0:12", "1:02:03".
std::string ShowSeconds(double seconds) {
    const auto whole = static_cast<int64_t>(std::ceil(seconds));
    const std::string hours = whole >= 3600 ? std::to_string(whole / 3600) + ":" : "";
    const int64_t minutes = whole / 60 % 60;
    return hours + (hours.empty() ? std::to_string(minutes) : TwoDigits(minutes)) + ":" + TwoDigits(whole % 60);
}

}  // namespace

std::string Progress::Line(uint64_t bytes, int64_t records, Time now, size_t width) {
    m_next = now + EACH;
    const double seconds = std::max(std::chrono::duration<double>(now - m_begin).count(), 1e-3);
    const auto rate = static_cast<int64_t>(static_cast<double>(records) / seconds);
    std::string line = std::to_string(records) + " records, " + std::to_string(rate) + "/s";
    if (m_inputSize > 0) {
        // A file that grows meanwhile has more than was known.
        const double share = std::min(static_cast<double>(bytes) / static_cast<double>(m_inputSize), 1.0);
        const auto filled = static_cast<size_t>(share * static_cast<double>(BAR_WIDTH));
        std::string percent = std::to_string(static_cast<int>(share * 100)) + "% [";
        percent.insert(0, percent.size() < 6 ? 6 - percent.size() : 0, ' ');
        line.insert(0, percent + std::string(filled, '#') + std::string(BAR_WIDTH - filled, '.') + "] ");
        if (share > 0) {
            line += ", " + ShowSeconds(seconds * (1 - share) / share) + " left";
        }
    }
    return line.substr(0, width);
}

}  // namespace OstraneCli
