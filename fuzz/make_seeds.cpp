// Writes the seeds that the library makes into a corpus: fuzz_seeds fuzz/corpus
#include <stdio.h>

#include <filesystem>
#include <fstream>

#include "fuzz/seeds.h"

int main(int nArguments, char** ppszArgument)
{
    if (nArguments != 2)
    {
        fprintf(stderr, "fuzz_seeds CORPUS-FOLDER\n");
        return 2;
    }
    for (const auto& [strName, strBytes] : FuzzSeeds())
    {
        const std::filesystem::path path = std::filesystem::path(ppszArgument[1]) / strName;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream file(path, std::ios::binary);
        file.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
        if (!file.flush())
        {
            fprintf(stderr, "%s can't be written\n", path.string().c_str());
            return 1;
        }
    }
    return 0;
}
