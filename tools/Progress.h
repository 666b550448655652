#ifndef VAMEL_TOOLS_PROGRESS_H
#define VAMEL_TOOLS_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

// A line on standard error that says how far the work has come, how fast it goes and how long it
// will take. Only on a terminal, only after the first moments, and gone in the end.
class Progress {
  public:
    // `total` counts what Update is told to be done, usually bytes; 0 where nobody knows.
    Progress(std::string what, uint64_t total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    void Update(uint64_t done, uint64_t records) {
        if (shown_ && ++calls_ % kCallsPerLook == 0) {
            Look(done, records);
        }
    }

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr uint32_t kCallsPerLook = 256;

    void Look(uint64_t done, uint64_t records);
    std::string Describe(uint64_t done, uint64_t records, double seconds) const;

    std::string what_;
    uint64_t total_;
    bool shown_;
    bool drawn_ = false;
    uint32_t calls_ = 0;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point last_ = begun_;
};

}  // namespace tool

#endif
