#include "ketstats/ketstats.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Packs snapshots of real frames: fuzz-snapshot-seeds FRAMES SEEDS
//
// FRAMES is a directory of frames, one a file, as seeds.py writes it. Of every group there is a full pack and
// the changes of a few frames, and the same of each whole tree: small inputs that have every structure.

namespace {

using namespace KetStats;

std::vector<unsigned char> content(std::filesystem::path const & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write(std::filesystem::path const & path, CStatSnapshot & snapshot, bool onlyChanged)
{
    ktools::CMemoryBuffer buffer;
    snapshot.pack(buffer, onlyChanged);
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<char const *>(buffer.data), buffer.size);
}

void count(CKetrinStatManager & manager, std::filesystem::path const & path)
{
    std::vector<unsigned char> const bytes = content(path);
    auto const length = static_cast<unsigned int>(bytes.size());
    CNetworkFrame frame(bytes.data(), length, length);
    manager.analyzeFrame(&frame);
}

} // namespace

int main(int argc, char ** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: fuzz-snapshot-seeds FRAMES SEEDS\n");
        return 2;
    }
    std::vector<std::filesystem::path> frames;
    for (auto const & file : std::filesystem::directory_iterator(argv[1]))
        frames.push_back(file.path());
    std::sort(frames.begin(), frames.end());
    std::filesystem::path const target = argv[2];
    std::filesystem::create_directories(target);

    constexpr std::size_t first = 6;   // frames of a full pack
    constexpr std::size_t further = 3; // frames of the changes behind it
    std::vector<std::string> selections = {"1", "2"};
    for (int group = 1; group <= 11; ++group)
        selections.push_back("1." + std::to_string(group));
    for (int group = 1; group <= 7; ++group)
        selections.push_back("2." + std::to_string(group));
    for (std::string const & oid : selections) {
        for (std::size_t at = 0; at + first + further <= frames.size(); at += frames.size() / 4 + 1) {
            CKetrinStatManager manager;
            for (int enabled = 1; enabled <= 9; ++enabled)
                manager.enableStatistic("1." + std::to_string(enabled));
            for (int enabled = 1; enabled <= 7; ++enabled)
                manager.enableStatistic("2." + std::to_string(enabled));
            manager.beginAnalyzing(nullptr);
            CStatSnapshot snapshot;
            snapshot.addOid(oid);
            if (oid == "2")
                snapshot.addOid("1.1"); // a pack of both trees
            snapshot.initSnapshot(manager);
            std::string const name = oid + "-" + std::to_string(at);
            for (std::size_t i = 0; i < first; ++i)
                count(manager, frames[at + i]);
            snapshot.nextSample(manager);
            write(target / (name + "-full"), snapshot, false);
            for (std::size_t i = first; i < first + further; ++i)
                count(manager, frames[at + i]);
            snapshot.nextSample(manager);
            write(target / (name + "-changes"), snapshot, true);
        }
    }
}
