#include "Services/SampleRingBuffer.h"

#include <algorithm>

namespace corvane {

SampleRingBuffer::SampleRingBuffer(size_t capacity)
    : m_samples(capacity) {}

void SampleRingBuffer::append(std::span<const float> samples) {
    const auto capacity = m_samples.size();
    const auto newest = samples.last(std::min(samples.size(), capacity));
    const std::lock_guard lock(m_ringBufferLock);
    const auto end = (m_start + m_size) % capacity;
    const auto beforeWrap = std::min(newest.size(), capacity - end);
    std::ranges::copy(newest.first(beforeWrap), m_samples.begin() + static_cast<std::ptrdiff_t>(end));
    std::ranges::copy(newest.subspan(beforeWrap), m_samples.begin());
    const auto total = m_size + newest.size();
    m_size = std::min(total, capacity);
    m_start = (m_start + total - m_size) % capacity;
}

void SampleRingBuffer::drain(size_t count, std::vector<float>& samples) {
    samples.clear();
    samples.reserve(count);
    const std::lock_guard lock(m_ringBufferLock);
    const auto taken = std::min(count, m_size);
    const auto beforeWrap = std::min(taken, m_samples.size() - m_start);
    const auto start = m_samples.begin() + static_cast<std::ptrdiff_t>(m_start);
    samples.insert(samples.end(), start, start + static_cast<std::ptrdiff_t>(beforeWrap));
    samples.insert(samples.end(), m_samples.begin(),
                   m_samples.begin() + static_cast<std::ptrdiff_t>(taken - beforeWrap));
    m_start = (m_start + taken) % m_samples.size();
    m_size -= taken;
}

size_t SampleRingBuffer::size() const {
    const std::lock_guard lock(m_ringBufferLock);
    return m_size;
}

void SampleRingBuffer::clear() {
    const std::lock_guard lock(m_ringBufferLock);
    m_start = 0;
    m_size = 0;
}

} // namespace corvane
