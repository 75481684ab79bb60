// Runs a fuzz target over files, without a fuzzing engine: ctest replays corpora, past findings and
// samples. Each has to be done within some seconds of work, and all in little memory.
#include "support/RKProcessCost.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    constexpr qint64 kMaxWork = RKTimeLimit::milliseconds(2000);
    constexpr qint64 kMaxMebibytes = 256 * RKTimeLimit::kSanitizerFactor;
    int count = 0;
    bool areCheap = true;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::exists(argv[i])) {
            std::printf("%s is missing\n", argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file())
                continue;
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
            std::printf("%s\n", entry.path().c_str());
            const qint64 start = RKTimeLimit::worked();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            const qint64 work = RKTimeLimit::worked(start);
            const qint64 mebibytes = RKProcessCost::peakMebibytes();
            if (work > kMaxWork || mebibytes > kMaxMebibytes) {
                std::printf("took %lld ms and %lld MiB\n", work, mebibytes);
                areCheap = false;
            }
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    // CTest takes it for skipped where only samples are the inputs, and for failed otherwise.
    constexpr int kSkipped = 77;
    if (count == 0)
        return kSkipped;
    return areCheap ? 0 : 1;
}
