// What makes a library of Linux one that can be loaded and unloaded while a program runs.
#include <elf.h>
#include <link.h>

#include <cstring>
#include <vector>

#include "loading/loading_tools.h"

using namespace loadingtest;

namespace
{
bool Sanitized()
{
    return LOADING_SANITIZERS[0] != 0;
}

// The library's file: its headers, and what they point to.
class LibraryFile
{
public:
    LibraryFile() : m_strBytes(votest::TemporaryFiles::Read(LOADING_LIBRARY)) {}

    const Elf64_Ehdr& Header() const { return At<Elf64_Ehdr>(0); }

    template <typename T>
    const T& At(size_t uOffset, size_t uIndex = 0) const
    {
        return *reinterpret_cast<const T*>(m_strBytes.data() + uOffset + uIndex * sizeof(T));
    }

    bool HasSegment(uint32_t uType) const
    {
        for (size_t i = 0; i < Header().e_phnum; ++i)
        {
            if (At<Elf64_Phdr>(Header().e_phoff, i).p_type == uType)
            {
                return true;
            }
        }
        return false;
    }

    // The content of the sections of a type, entry by entry.
    template <typename T>
    std::vector<T> Entries(uint32_t uSection) const
    {
        std::vector<T> vecEntry;
        for (size_t i = 0; i < Header().e_shnum; ++i)
        {
            const Elf64_Shdr& rk = At<Elf64_Shdr>(Header().e_shoff, i);
            for (size_t j = 0; rk.sh_type == uSection && j < rk.sh_size / sizeof(T); ++j)
            {
                vecEntry.push_back(At<T>(rk.sh_offset, j));
            }
        }
        return vecEntry;
    }

    // The symbols that the loader sees, with their names.
    std::vector<std::pair<std::string, Elf64_Sym>> Symbols() const
    {
        std::vector<std::pair<std::string, Elf64_Sym>> vecSymbol;
        for (size_t i = 0; i < Header().e_shnum; ++i)
        {
            const Elf64_Shdr& rk = At<Elf64_Shdr>(Header().e_shoff, i);
            if (rk.sh_type != SHT_DYNSYM)
            {
                continue;
            }
            const size_t uNames = At<Elf64_Shdr>(Header().e_shoff, rk.sh_link).sh_offset;
            for (size_t j = 0; j < rk.sh_size / sizeof(Elf64_Sym); ++j)
            {
                const Elf64_Sym& symbol = At<Elf64_Sym>(rk.sh_offset, j);
                vecSymbol.emplace_back(m_strBytes.data() + uNames + symbol.st_name, symbol);
            }
        }
        return vecSymbol;
    }

private:
    std::string m_strBytes;
};
}  // namespace

TEST(LoadingOnLinux, TheLibraryNeedsNoThreadLocalStorage)
{
    if (Sanitized())
    {
        GTEST_SKIP() << "a sanitizer brings its own";
    }
    const LibraryFile library;
    uint64_t uFlags = 0;
    bool bDynamic = false;
    for (const Elf64_Dyn& rk : library.Entries<Elf64_Dyn>(SHT_DYNAMIC))
    {
        bDynamic = bDynamic || rk.d_tag == DT_SYMTAB;
        uFlags |= rk.d_tag == DT_FLAGS ? rk.d_un.d_val : 0;
    }
    EXPECT_TRUE(bDynamic);
    EXPECT_EQ(0u, uFlags & DF_STATIC_TLS);
    EXPECT_FALSE(library.HasSegment(PT_TLS));
}

TEST(LoadingOnLinux, NoSymbolKeepsTheLibraryFromBeingUnloaded)
{
    const LibraryFile library;
    // Neither one that the loader keeps single in the process, nor one that the standard library's file, which stays,
    // could take from here.
    size_t uExported = 0;
    for (const auto& [strName, rk] : library.Symbols())
    {
        EXPECT_NE(STB_GNU_UNIQUE, ELF64_ST_BIND(rk.st_info)) << strName;
        if (rk.st_shndx != SHN_UNDEF)
        {
            EXPECT_NE(0u, strName.find("_ZNSt")) << strName;
            EXPECT_NE(0u, strName.find("_ZNKSt")) << strName;
            EXPECT_NE(0u, strName.find("_ZSt")) << strName;
            ++uExported;
        }
    }
    EXPECT_LT(100u, uExported);
}

TEST(LoadingOnLinux, APlugInThatGoesWhileAMonitorRunsLeavesTheLibraryUntilTheThreadsHaveEnded)
{
    const votest::TemporaryFiles files;
    EXPECT_EQ(
        0, RunHost(std::string("running ") + LOADING_PLUGIN + " " + LOADING_LIBRARY + " " + files.Folder().string()));
}

TEST(LoadingOnLinux, WhatItTakesOfTheProcessIsGivenBackEachTime)
{
    // There are some thirty signals that it could take, and it takes one for its threads and one for its stack walker.
    const votest::TemporaryFiles files;
    EXPECT_EQ(
        0, RunHost(std::string("plugin ") + LOADING_PLUGIN + " " + LOADING_LIBRARY + " 40 " + files.Folder().string()));
}

TEST(LoadingOnLinux, AnInterpreterLoadsIt)
{
    if (Sanitized())
    {
        GTEST_SKIP() << "a sanitizer's runtime has to be in the program, which is another's here";
    }
    if (system("python3 -c 'import ctypes' 2> /dev/null") != 0)
    {
        GTEST_SKIP() << "there is no interpreter with that module";
    }
    EXPECT_EQ(0, RunCommand(std::string("python3 -c \"import ctypes; l = ctypes.CDLL('") + LOADING_LIBRARY +
                            "'); f = l['_Z11VOLogPrintf14VOLOG_PRIORITYPKcz']; raise SystemExit(f(3, b'text'))\""));
}
