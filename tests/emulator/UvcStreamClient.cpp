// A plain libuvc client that knows nothing of the emulator: streams from the first
// 3482:6723 camera until COUNT transfers arrived (or 60 s passed) and reports them. Used to
// check that a program run by orr-emulate sees the cameras, and to measure its rate.
//   emulator_stream_client WIDTH ROWS FPS COUNT
// Prints "transfers N rate R size S" and exits 0 when COUNT transfers of the full size came.
#include <libuvc/libuvc.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

struct Counts {
    std::atomic<int> transfers{0};
    std::atomic<int> wrongSize{0};
    size_t expected = 0;
    std::chrono::steady_clock::time_point first, last;
};

void onFrame(uvc_frame_t* frame, void* user)
{
    auto* c = static_cast<Counts*>(user);
    const auto now = std::chrono::steady_clock::now();
    if (c->transfers == 0) c->first = now;
    c->last = now;
    if (frame->data_bytes != c->expected) ++c->wrongSize;
    ++c->transfers;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s WIDTH ROWS FPS COUNT\n", argv[0]);
        return 2;
    }
    const int width = std::atoi(argv[1]);
    const int rows = std::atoi(argv[2]);
    const int fps = std::atoi(argv[3]);
    const int wanted = std::atoi(argv[4]);
    uvc_context_t* context = nullptr;
    uvc_device_t* device = nullptr;
    uvc_device_handle_t* handle = nullptr;
    uvc_stream_ctrl_t control;
    uvc_error_t r = uvc_init(&context, nullptr);
    if (r == UVC_SUCCESS) r = uvc_find_device(context, &device, 0x3482, 0x6723, nullptr);
    if (r == UVC_SUCCESS) r = uvc_open(device, &handle);
    if (r == UVC_SUCCESS) r = uvc_get_stream_ctrl_format_size(handle, &control, UVC_FRAME_FORMAT_YUYV, width, rows, fps);
    Counts counts;
    counts.expected = size_t(width) * size_t(rows) * 2;
    if (r == UVC_SUCCESS) r = uvc_start_streaming(handle, &control, onFrame, &counts, 0);
    if (r != UVC_SUCCESS) {
        uvc_perror(r, "emulator_stream_client");
        return 1;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (counts.transfers < wanted && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    uvc_stop_streaming(handle);
    uvc_close(handle);
    uvc_unref_device(device);
    uvc_exit(context);
    const int n = counts.transfers;
    const double rate = n > 1 ? (n - 1) / std::chrono::duration<double>(counts.last - counts.first).count() : 0;
    std::printf("transfers %d rate %.1f size %zu\n", n, rate, counts.expected);
    return n >= wanted && counts.wrongSize == 0 ? 0 : 1;
}
