#include "BareCodec.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

void BareCodec::fail(const std::string& path)
{
    std::fprintf(stderr, "can't read %s\n", path.c_str());
    std::exit(1);
}

std::vector<uint8_t> BareCodec::bytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file)
        fail(path);
    std::vector<uint8_t> all(static_cast<size_t>(file.tellg()));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(all.data()), std::streamsize(all.size()));
    if (!file)
        fail(path);
    return all;
}
