// The main program of a fuzz target built without libFuzzer: it replays
// every file of the corpus folders (or the files) it is given, or of its
// committed seed corpus when given none, through LLVMFuzzerTestOneInput.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<std::string> roots(argv + 1, argv + argc);
    if (roots.empty()) {
        roots.emplace_back(CORVINA_FUZZ_CORPUS);
    }
    std::vector<fs::path> inputs;
    for (const std::string& root : roots) {
        if (fs::is_directory(root)) {
            for (const auto& item : fs::directory_iterator(root)) {
                inputs.push_back(item.path());
            }
        } else {
            inputs.emplace_back(root);
        }
    }
    for (const fs::path& path : inputs) {
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "cannot read %s\n", path.c_str());
            return 1;
        }
        const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(file), {});
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("replayed %zu inputs\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
