#include "tools/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tool {

namespace {

constexpr size_t kBarWidth = 20;
constexpr std::chrono::milliseconds kBetweenDrawings(200);

std::string Bar(double share) {
    const auto full = static_cast<size_t>(share * static_cast<double>(kBarWidth));
    return fmt::format("[{}{}] {:3.0f} %", std::string(full, '#'),
                       std::string(kBarWidth - full, '.'), share * 100);
}

}  // namespace

Progress::Progress(std::string what, uint64_t total)
    : what_(std::move(what)), total_(total), shown_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (drawn_) {
        std::fputs("\r\033[K", stderr);
    }
}

void Progress::Look(uint64_t done, uint64_t records) {
    const Clock::time_point now = Clock::now();
    if (now - last_ < kBetweenDrawings) {
        return;
    }
    last_ = now;
    drawn_ = true;
    const double seconds = std::chrono::duration<double>(now - begun_).count();
    std::fputs(fmt::format("\r{}\033[K", Describe(done, records, seconds)).c_str(), stderr);
    std::fflush(stderr);
}

std::string Progress::Describe(uint64_t done, uint64_t records, double seconds) const {
    std::string text = what_;
    if (total_ != 0) {
        text += ' ' + Bar(std::min(1.0, static_cast<double>(done) / static_cast<double>(total_)));
    }
    text += fmt::format("  {} records, {:.0f} a second", records,
                        static_cast<double>(records) / seconds);
    if (total_ > done && done != 0) {
        const double left =
            seconds * static_cast<double>(total_ - done) / static_cast<double>(done);
        const auto whole = static_cast<uint64_t>(std::llround(left));
        text += fmt::format(", {}:{:02} left", whole / 60, whole % 60);
    }
    return text;
}

}  // namespace tool
