#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Runs a fuzz target over the files and folders named, where no fuzzing engine is at hand.
static int Replay(const std::filesystem::path& path) {
    int count = 0;
    if (std::filesystem::is_directory(path)) {
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            count += Replay(entry);
        }
        return count;
    }
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    return 1 + LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

int main(int argc, char** argv) {
    int count = 0;
    while (argc > 1) {
        count += Replay(argv[--argc]);
    }
    return std::printf("%d inputs replayed\n", count) > 0 && count > 0 ? 0 : 1;
}
