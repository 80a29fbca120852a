// Fuzz target over the archive reader: the input is written to a scratch
// file, opened, walked, and every entry is extracted beneath a scratch
// extraction root, which is removed afterwards. Built with libFuzzer when
// CORVINA_LIBFUZZER is defined; otherwise a plain program that replays every
// file of the corpus folders (or files) it is given.

#include "zip/Archive.h"
#include "zip/ExtractionRoot.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace corvina::zip;

/// Removes a tree that extraction may have left with folders of mode 0.
void removeTree(int parent, const char* name) {
    struct stat st {};
    if (fstatat(parent, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return;
    }
    if (S_ISDIR(st.st_mode)) {
        fchmodat(parent, name, 0700, 0);
        const int fd = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd >= 0) {
            DIR* dir = fdopendir(fd);
            std::vector<std::string> names;
            while (const dirent* item = readdir(dir)) {
                if (std::strcmp(item->d_name, ".") != 0 && std::strcmp(item->d_name, "..") != 0) {
                    names.emplace_back(item->d_name);
                }
            }
            for (const std::string& child : names) {
                removeTree(fd, child.c_str());
            }
            closedir(dir);
        }
        unlinkat(parent, name, AT_REMOVEDIR);
    } else {
        unlinkat(parent, name, 0);
    }
}

const fs::path& scratch() {
    static const fs::path folder = [] {
        std::string pattern = (fs::temp_directory_path() / "corvina-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::abort();
        }
        return fs::path(pattern);
    }();
    return folder;
}

bool writeInput(const fs::path& path, const uint8_t* data, size_t size) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    return static_cast<bool>(
        file.write(reinterpret_cast<const char*>(data), std::streamsize(size)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fs::path input = scratch() / "input.zip";
    const fs::path out = scratch() / "out";
    if (!writeInput(input, data, size) || ::mkdir(out.c_str(), 0700) != 0) {
        std::abort();
    }
    try {
        Archive archive(input, AccessMode::read);
        ExtractionRoot root(out);
        for (const Entry& entry : archive.entrySequence()) {
            (void)entry.entryChecksum();
            (void)entry.entryCompressedSize();
            try {
                root.extractEntry(archive, entry, entry.entryPath());
            } catch (const Error& error) {
                (void)error.localizedDescription();
            }
        }
    } catch (const Error& error) {
        (void)error.localizedDescription();
    }
    removeTree(AT_FDCWD, out.c_str());
    return 0;
}

#ifndef CORVINA_LIBFUZZER
int main(int argc, char** argv) {
    std::vector<fs::path> inputs;
    std::vector<std::string> roots(argv + 1, argv + argc);
    if (roots.empty()) {
        roots.emplace_back(CORVINA_FUZZ_CORPUS);
    }
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
    removeTree(AT_FDCWD, scratch().c_str());
    return inputs.empty() ? 1 : 0;
}
#endif
