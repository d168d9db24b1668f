// ReplayMain.cpp - runs a fuzz target over files and folders of inputs, without a fuzzer: any compiler, any processor.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

static bool RunFile(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    fprintf(stderr, "%s (%zu bytes)\n", path.c_str(),
            input.size()); // before the run, so that the last name is that of a crash
    input.shrink_to_fit(); // a sanitizer then sees the first byte past the end
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

int main(int argc, char *argv[])
{
    unsigned runs = 0;
    bool failed = false;
    for (int i = 1; i < argc; i++) {
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(argv[i]))
            for (const auto &entry : std::filesystem::directory_iterator(argv[i])) files.push_back(entry.path());
        else
            files.push_back(argv[i]);
        for (const auto &path : files) RunFile(path) ? runs++ : failed = true;
    }
    printf("%u inputs\n", runs);
    return failed || runs == 0 ? 1 : 0;
}
