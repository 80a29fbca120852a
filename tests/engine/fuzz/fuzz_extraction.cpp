// Fuzz target over extraction. The input describes an archive, which is
// built with the ZIP layer's own records, opened from memory and extracted
// into a fresh folder, either by the restore's loop or entry by entry with
// contained links. Afterwards the target asserts that nothing was created
// outside that folder, and, for contained extraction, that no link inside it
// leads outside.
//
// Input: a mode byte (bit 0: the restore's loop), then entries, each a kind
// byte, a name up to "\n" and data up to the next zero byte. Kind bits 0-1
// type (file, folder, link, none: the type comes from the name), bit 2
// deflate, bit 3 a declared size one more than the data, bit 4 a declared
// size past the 32-bit limit (ZIP64 fields), bits 5-7 permissions.

#include "engine/BackupRestoration.h"
#include "zip/Archive.h"
#include "zip/ExtractionRoot.h"

#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace corvina;
using namespace corvina::zip;

constexpr uint16_t permissionChoices[8] = {0644, 0755, 0, 0777, 07777, 0600, 0400, 0111};

std::vector<uint8_t> rawDeflate(std::string_view data) {
    z_stream z{};
    if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        std::abort();
    }
    std::vector<uint8_t> out(deflateBound(&z, data.size()));
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

std::vector<uint8_t> buildArchive(std::string_view input) {
    std::vector<uint8_t> archive;
    std::vector<uint8_t> directory;
    uint64_t count = 0;
    while (!input.empty()) {
        const auto kind = static_cast<uint8_t>(input.front());
        input.remove_prefix(1);
        const std::size_t nameEnd = std::min(input.find('\n'), input.size());
        const std::string_view name = input.substr(0, nameEnd);
        input.remove_prefix(std::min(nameEnd + 1, input.size()));
        const std::size_t dataEnd = std::min(input.find('\0'), input.size());
        const std::string_view data = input.substr(0, dataEnd);
        input.remove_prefix(std::min(dataEnd + 1, input.size()));

        const bool deflated = (kind & 4) != 0;
        const std::vector<uint8_t> stored =
            deflated ? rawDeflate(data) : std::vector<uint8_t>(data.begin(), data.end());
        const uint32_t crc = static_cast<uint32_t>(
            crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())));
        uint64_t declared = data.size() + ((kind & 8) != 0 ? 1 : 0);
        if ((kind & 16) != 0) {
            declared += 0xFFFFFFFFull;
        }
        const uint64_t declaredStored = deflated ? stored.size() : declared;
        const LocalFileHeader local = LocalFileHeader::make(
            name, deflated ? CompressionMethod::deflate : CompressionMethod::none, 0, 0x5921, crc,
            declaredStored, declared);
        const uint16_t permissions = permissionChoices[kind >> 5];
        uint32_t attributes = 0;
        switch (kind & 3) {
        case 0:
            attributes = externalFileAttributes(EntryType::file, permissions);
            break;
        case 1:
            attributes = externalFileAttributes(EntryType::directory, permissions);
            break;
        case 2:
            attributes = externalFileAttributes(EntryType::symlink, permissions);
            break;
        default:
            break;
        }
        CentralDirectoryStructure central =
            CentralDirectoryStructure::make(local, attributes, archive.size());
        const std::vector<uint8_t> header = local.encode();
        archive.insert(archive.end(), header.begin(), header.end());
        archive.insert(archive.end(), stored.begin(), stored.end());
        central.encodeInto(directory);
        ++count;
    }
    EndRecords end;
    end.endOfCentralDirectoryRecord.totalNumberOfEntriesOnDisk = static_cast<uint16_t>(count);
    end.endOfCentralDirectoryRecord.totalNumberOfEntriesInCentralDirectory =
        static_cast<uint16_t>(count);
    end.endOfCentralDirectoryRecord.sizeOfCentralDirectory =
        static_cast<uint32_t>(directory.size());
    end.endOfCentralDirectoryRecord.offsetToStartOfCentralDirectory =
        static_cast<uint32_t>(archive.size());
    archive.insert(archive.end(), directory.begin(), directory.end());
    const std::vector<uint8_t> records = end.encode();
    archive.insert(archive.end(), records.begin(), records.end());
    return archive;
}

/// Everything beneath a folder, children before their folder, with links
/// marked. Folders are opened up first, as extraction may leave mode 0.
struct Item {
    std::string path;
    bool isFolder;
    bool isLink;
};

void listTree(const std::string& folder, std::vector<Item>& items) {
    ::chmod(folder.c_str(), 0700);
    DIR* dir = ::opendir(folder.c_str());
    if (dir == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        std::string path = folder + "/" + entry->d_name;
        if (entry->d_type == DT_DIR) {
            listTree(path, items);
        }
        items.push_back({std::move(path), entry->d_type == DT_DIR, entry->d_type == DT_LNK});
    }
    ::closedir(dir);
}

void removeItems(const std::vector<Item>& items) {
    for (const Item& item : items) {
        ::unlinkat(AT_FDCWD, item.path.c_str(), item.isFolder ? AT_REMOVEDIR : 0);
    }
}

/// The scratch folder: the extraction folder lies some levels deep in it, so
/// that an escape upwards lands in one of the folders on the way, whose
/// change times tell whether anything was made in them.
struct Scratch {
    fs::path top;
    fs::path root;
    std::vector<std::pair<std::string, timespec>> ancestors;

    Scratch() {
        // In memory where there is a tmpfs: a disk file system spends most of
        // an input's time on making and removing inodes.
        const fs::path base =
            ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : fs::temp_directory_path();
        std::string pattern = (base / "corvina-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::abort();
        }
        top = pattern;
        root = top / "a" / "b" / "c" / "d" / "root";
        fs::create_directories(root);
        for (fs::path folder = root.parent_path();; folder = folder.parent_path()) {
            struct stat st {};
            ::stat(folder.c_str(), &st);
            ancestors.emplace_back(folder.string(), st.st_mtim);
            if (folder == top) {
                break;
            }
        }
    }
    ~Scratch() {
        std::vector<Item> items;
        listTree(top.string(), items);
        removeItems(items);
        ::rmdir(top.c_str());
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
};

const Scratch& scratch() {
    static const Scratch instance;
    return instance;
}

[[noreturn]] void escaped(const fs::path& path, const char* what) {
    std::fprintf(stderr, "escape: %s %s\n", what, path.c_str());
    std::abort();
}

/// Nothing was made or removed in the folders leading to the root.
void checkNothingOutside() {
    for (const auto& [folder, modified] : scratch().ancestors) {
        struct stat st {};
        if (::stat(folder.c_str(), &st) != 0 || st.st_mtim.tv_sec != modified.tv_sec ||
            st.st_mtim.tv_nsec != modified.tv_nsec) {
            escaped(folder, "something was created outside the folder, in");
        }
    }
}

bool beneathRoot(const fs::path& path) {
    const std::string root = scratch().root.string() + "/";
    return (path.string() + "/").starts_with(root);
}

/// Every link inside the root, resolved by the kernel as far as it exists,
/// leads inside it (contained extraction) or, when it leads outside, to no
/// file this run wrote (the restore's loop makes links as they stand).
void checkLinks(const std::vector<Item>& items, bool linksMayLeave, const timespec& started) {
    for (const Item& item : items) {
        if (!item.isLink) {
            continue;
        }
        std::error_code error;
        const fs::path resolved = fs::weakly_canonical(item.path, error);
        if (error || beneathRoot(resolved)) {
            continue;
        }
        if (!linksMayLeave) {
            escaped(item.path, "link leads outside the folder:");
        }
        // Only files count: shared folders such as /tmp change all the time,
        // and kernel file systems show the time of the look-up as the change.
        const std::string text = resolved.string();
        if (text.starts_with("/proc/") || text.starts_with("/sys/") || text.starts_with("/dev/")) {
            continue;
        }
        struct stat st {};
        if (lstat(resolved.c_str(), &st) == 0 && !S_ISDIR(st.st_mode) &&
            (st.st_ctim.tv_sec > started.tv_sec ||
             (st.st_ctim.tv_sec == started.tv_sec && st.st_ctim.tv_nsec >= started.tv_nsec))) {
            escaped(resolved, "written through a link:");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const bool restoreLoop = (data[0] & 1) != 0;
    std::vector<uint8_t> bytes =
        buildArchive(std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1));
    // The root stays from input to input, emptied: making and removing it
    // would change its parent.
    const fs::path& root = scratch().root;
    if (::chmod(root.c_str(), 0700) != 0) {
        std::abort();
    }
    timespec started{};
    clock_gettime(CLOCK_REALTIME, &started);
    std::FILE* stream = ::fmemopen(bytes.data(), bytes.size(), "rb");
    try {
        Archive archive(stream, "input.zip");
        ExtractionRoot extraction(root);
        if (restoreLoop) {
            // Damage accepted, so that entries after a damaged one are made too.
            QStringList damaged;
            engine::unpackEntries(archive, extraction, nullptr, &damaged);
        } else {
            for (const Entry& entry : archive.entrySequence()) {
                try {
                    extraction.extractEntry(archive, entry, entry.entryPath());
                } catch (const Error& error) {
                    (void)error.localizedDescription();
                }
            }
        }
    } catch (const std::exception& error) {
        (void)error.what();
    }
    checkNothingOutside();
    std::vector<Item> items;
    listTree(root.string(), items);
    checkLinks(items, restoreLoop, started);
    removeItems(items);
    return 0;
}
