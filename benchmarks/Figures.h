#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <vector>

// Returns the value below which `share` of the values lie; 0 if there are none.
template<typename Value>
Value percentile(std::vector<Value> values, double share) {
    if (values.empty()) {
        return {};
    }
    const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::ranges::nth_element(values, values.begin() + place);
    return values.at(static_cast<std::size_t>(place));
}

template<typename Value>
Value median(std::vector<Value> values) {
    return percentile(std::move(values), 0.5);
}

// Returns the processor time of this thread in ms, which is not affected by other programs.
inline double threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}
