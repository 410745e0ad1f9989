// The cost of QV_SDK_GetCameraList on a machine without network cameras, inside a private
// network namespace (run as root): USB enumeration alone beside the whole list with
// loopback only, and with two more interfaces (emulated segments where nothing answers).
// Discovery tries each interface three times for 80 ms when nothing answers.
#include <benchmark/benchmark.h>

#include <list>
#include <memory>
#include <vector>

#include "EmulatedLan.h"
#include "NetworkNamespace.h"
#include "UsbCameraList.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;

namespace {

void UsbEnumerationOnly(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<QV_CAM_ATTR> attrs;
        getUsbCameraAttrsListLinux({{0x3482, 0x6723}}, attrs);
        benchmark::DoNotOptimize(attrs);
    }
}

// Argument: interfaces besides loopback.
void CameraListWithDiscovery(benchmark::State& state)
{
    std::vector<std::unique_ptr<EmulatedLan>> lans;
    for (int i = 1; i <= state.range(0); ++i) lans.push_back(EmulatedLan::create(i));
    QV_SDK_Init();
    for (auto _ : state) {
        std::list<void*> cameras;
        benchmark::DoNotOptimize(QV_SDK_GetCameraList(cameras));
        QV_SDK_FreeCameraList(cameras);
    }
    QV_SDK_Deinit();
}

BENCHMARK(UsbEnumerationOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(CameraListWithDiscovery)->Arg(0)->Arg(2)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    if (!NetworkNamespace::enterFresh()) return 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
