// Per-frame cost of what the Python module adds: the stream callback copies a group out of
// the library's buffers into the queue, a reader takes it and makes NumPy arrays of it, and
// the arrays are released. Its peer, in the same run: a C callback that copies the same
// frames into buffers of its own (what a C application that keeps frames does).
#include <benchmark/benchmark.h>
#include <pybind11/embed.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "FrameReceiver.h"
#include "GroupArrays.h"

namespace py = pybind11;

namespace {

// A Fl30c group as its driver delivers it: 640 x 480 depth, 1280 x 720 BGR, and a cloud of
// every depth pixel.
struct Group {
    std::vector<uint8_t> depth = std::vector<uint8_t>(640 * 480 * 2, 7);
    std::vector<uint8_t> color = std::vector<uint8_t>(1280 * 720 * 3, 9);
    std::vector<uint8_t> cloud = std::vector<uint8_t>(640 * 480 * 12, 0);
    CAM_DATA data{};
    Group()
    {
        data.frame[CAM_DATA_SLOT_DEPTH] = {CAM_FRAME_DEPTH, 640, 480, depth.data(), uint32_t(depth.size()), 2, 1, 0};
        data.frame[CAM_DATA_SLOT_RGB] = {CAM_FRAME_RGB, 1280, 720, color.data(), uint32_t(color.size()), 3, 1, 0};
        data.frame[CAM_DATA_SLOT_POINTCLOUD] = {CAM_FRAME_POINTCLOUD, 640 * 480, 1, cloud.data(), uint32_t(cloud.size()),
                                                640 * 480 * 3, 1, 0};
    }
};

struct Copies {
    std::vector<uint8_t> slots[CAM_DATA_SLOT_COUNT];
};

void copyInC(void*, const CAM_DATA* data, void* user)
{
    auto* copies = static_cast<Copies*>(user);
    for (int i = 0; i < CAM_DATA_SLOT_COUNT; ++i) {
        const CAM_FRAME& f = data->frame[i];
        copies->slots[i].resize(f.size);
        if (f.size != 0) std::memcpy(copies->slots[i].data(), f.data, f.size);
    }
}

void BM_CCallbackCopy(benchmark::State& state)
{
    Group group;
    Copies copies;
    STREAM_CALLBACK_S callback{&copyInC, &copies};
    for (auto _ : state) {
        callback.callback(nullptr, &group.data, callback.privateData);
        benchmark::DoNotOptimize(copies.slots[0].data());
    }
}

void BM_PythonPath(benchmark::State& state)
{
    Group group;
    orrpy::FrameReceiver receiver;
    receiver.queue().open(4);
    STREAM_CALLBACK_S callback = receiver.callback();
    for (auto _ : state) {
        callback.callback(nullptr, &group.data, callback.privateData);
        std::unique_ptr<orrpy::FrameGroup> taken;
        receiver.queue().pop(taken, std::chrono::nanoseconds(0));
        py::object arrays = orrpy::GroupArrays::toPython(std::move(taken));
        benchmark::DoNotOptimize(arrays.ptr());
    }
    if (receiver.queue().dropped() != 0) state.SkipWithError("the queue dropped groups");
}

}  // namespace

// The module's group type must be known to pybind11 before groups become Python objects.
PYBIND11_EMBEDDED_MODULE(orr_bench_groups, m) { orrpy::GroupArrays::bind(m); }

BENCHMARK(BM_CCallbackCopy)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PythonPath)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    py::scoped_interpreter interpreter;
    py::module_::import("numpy");
    py::module_::import("orr_bench_groups");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
