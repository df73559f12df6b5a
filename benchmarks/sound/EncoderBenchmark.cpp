// A chunk of 80 ms, 3,840 floats, to a WAV file in memory: our encoder compared with libsndfile's and with
// copying as many bytes as the file has.
#include "Utilities/Pcm16.h"
#include "Utilities/WAVEncoder.h"
#include "benchmarks/sound/TestSignal.h"

#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cstring>

using namespace corvane;

namespace {

constexpr size_t chunk = 3840;

void encodeChunk(benchmark::State& state) {
    const auto samples = voiceLikeSignal(chunk);
    const WAVEncoder encoder;
    for (auto _ : state) {
        auto file = encoder.encode(samples, 48000, 1);
        benchmark::DoNotOptimize(file.data());
    }
}
BENCHMARK(encodeChunk);

// Each implementation of the conversion that this processor can run, without header and allocation.
void convertChunk(benchmark::State& state) {
    const auto samples = voiceLikeSignal(chunk);
    std::vector<std::byte> out(2 * chunk);
    const auto kernel = pcm16::kernels()[static_cast<size_t>(state.range(0))];
    for (auto _ : state) {
        kernel(samples.data(), chunk, out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(convertChunk)->ArgName("kernel")->DenseRange(0, static_cast<int64_t>(pcm16::kernels().size()) - 1);

struct MemoryFile {
    std::vector<char> bytes;
    sf_count_t position = 0;
};

SF_VIRTUAL_IO memoryIo() {
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* data) {
        return static_cast<sf_count_t>(static_cast<MemoryFile*>(data)->bytes.size());
    };
    io.seek = [](sf_count_t offset, int whence, void* data) {
        auto* file = static_cast<MemoryFile*>(data);
        const auto size = static_cast<sf_count_t>(file->bytes.size());
        file->position = offset + (whence == SEEK_CUR ? file->position : whence == SEEK_END ? size : 0);
        return file->position;
    };
    io.read = [](void*, sf_count_t, void*) { return sf_count_t(0); };
    io.write = [](const void* from, sf_count_t count, void* data) {
        auto* file = static_cast<MemoryFile*>(data);
        const auto end = static_cast<size_t>(file->position + count);
        if (file->bytes.size() < end) {
            file->bytes.resize(end);
        }
        std::memcpy(file->bytes.data() + file->position, from, static_cast<size_t>(count));
        file->position += count;
        return count;
    };
    io.tell = [](void* data) { return static_cast<MemoryFile*>(data)->position; };
    return io;
}

void sndfileChunk(benchmark::State& state) {
    const auto samples = voiceLikeSignal(chunk);
    auto io = memoryIo();
    for (auto _ : state) {
        MemoryFile memory;
        memory.bytes.reserve(8192);
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = 1;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        auto* file = sf_open_virtual(&io, SFM_WRITE, &info, &memory);
        sf_command(file, SFC_SET_CLIPPING, nullptr, state.range(0) != 0 ? SF_TRUE : SF_FALSE);
        sf_write_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(file);
        benchmark::DoNotOptimize(memory.bytes.data());
        if (memory.bytes.size() != 44 + 2 * chunk) {
            state.SkipWithError("the file has the wrong size");
        }
    }
}
BENCHMARK(sndfileChunk)->ArgName("clipping")->Arg(0)->Arg(1);

void copyChunk(benchmark::State& state) {
    const std::vector<char> from(44 + 2 * chunk, 'x');
    std::vector<char> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(copyChunk);

} // namespace
