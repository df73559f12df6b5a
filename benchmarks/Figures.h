#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <vector>

// The value below which that share of them lies; 0 of none.
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

// ms of this thread: what others do on the machine does not count.
inline double threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}
