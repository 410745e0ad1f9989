// Cost of reading a configuration at camera open (plain and encrypted), and of the container
// step against the bare cipher it wraps.
#include <benchmark/benchmark.h>

#include <iostream>
#include <fstream>
#include <memory>
#include <string>

#include "AesCbc256.h"
#include "CameraConfAes.h"
#include "ConfAesKey.h"
#include "ConfContainer.h"
#include "ConfTestDocuments.h"
#include "Fl30cCameraConf.h"

using namespace orrindale::sdk;

namespace {

std::string writeScratch(const std::string& name, const std::vector<char>& bytes)
{
    const std::string path = "/tmp/orr-bench-conf-" + name;
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::vector<char> sealed(const std::string& text)
{
    unsigned char key[AesCbc256::kKeySize];
    unsigned char iv[AesCbc256::kIvSize];
    ConfAesKey::build(key, iv);
    std::vector<char> container;
    ConfContainer::seal(text, key, iv, container);
    return container;
}

// The readers log every step; the benchmark measures the work, not the terminal. The
// reporter prints after the benchmark function returns, with the stream restored.
class QuietLogs {
public:
    QuietLogs() : m_saved(std::cout.rdbuf(&m_null)) {}
    ~QuietLogs() { std::cout.rdbuf(m_saved); }

private:
    struct NullBuffer : std::streambuf {
        int overflow(int c) override { return traits_type::not_eof(c); }
    } m_null;
    std::streambuf* m_saved;
};

void BM_Fl30cPlainFile(benchmark::State& state)
{
    const QuietLogs quiet;
    const std::string doc = conftest::kFl30cDocument;
    const std::string path = writeScratch("plain.json", std::vector<char>(doc.begin(), doc.end()));
    for (auto _ : state) {
        Fl30c::fl30c_config_para record;
        benchmark::DoNotOptimize(Fl30c::getConfigurationParameters(path.c_str(), record));
    }
}
BENCHMARK(BM_Fl30cPlainFile);

void BM_Fl30cContainerFile(benchmark::State& state)
{
    const QuietLogs quiet;
    const std::string path = writeScratch("sealed.bin", sealed(conftest::kFl30cDocument));
    for (auto _ : state) {
        Fl30c::fl30c_config_para record;
        benchmark::DoNotOptimize(Fl30c::getConfigurationParameters(path.c_str(), record));
    }
}
BENCHMARK(BM_Fl30cContainerFile);

// The container step (header checks, checksum, decryption) ...
void BM_ContainerDecrypt(benchmark::State& state)
{
    const std::vector<char> container = sealed(std::string(static_cast<std::size_t>(state.range(0)), ' '));
    unsigned char key[AesCbc256::kKeySize];
    unsigned char iv[AesCbc256::kIvSize];
    ConfAesKey::build(key, iv);
    for (auto _ : state) {
        std::vector<char> file = container;
        std::size_t length = 0;
        benchmark::DoNotOptimize(ConfContainer::decrypt(file, key, iv, length));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_ContainerDecrypt)->Arg(1 << 10)->Arg(64 << 10)->Arg(1 << 20);

// ... against the bare cipher on the same bytes (peer).
void BM_BareAesCbcDecrypt(benchmark::State& state)
{
    const std::vector<char> container = sealed(std::string(static_cast<std::size_t>(state.range(0)), ' '));
    unsigned char key[AesCbc256::kKeySize];
    unsigned char iv[AesCbc256::kIvSize];
    ConfAesKey::build(key, iv);
    for (auto _ : state) {
        std::vector<char> file = container;
        auto* cipher = reinterpret_cast<unsigned char*>(file.data()) + ConfContainer::kHeaderSize;
        benchmark::DoNotOptimize(
            AesCbc256::decrypt(cipher, file.size() - ConfContainer::kHeaderSize, key, iv, cipher));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_BareAesCbcDecrypt)->Arg(1 << 10)->Arg(64 << 10)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
