// Runs a fuzz target once over every file given (or every file in the directories given):
// the seed corpus becomes an ordinary test in builds without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace {

bool runOne(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path arg(argv[i]);
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(arg)) {
            for (const auto& entry : std::filesystem::directory_iterator(arg))
                if (entry.is_regular_file()) files.push_back(entry.path());
        } else {
            files.push_back(arg);
        }
        for (const auto& file : files) {
            if (!runOne(file)) return 1;
            ++inputs;
        }
    }
    std::fprintf(stderr, "replayed %d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
