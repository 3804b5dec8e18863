// What the tests of lum share.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tests/lum_support/lum_process.h"
#include "tests/support/temporary_folder.h"
#include "vo_types.h"

class TemporaryFolder : public votest::TemporaryFolder
{
public:
    // The path of something in it, for a command line.
    std::string Name(std::string_view strRelative = "") const;

    // Writes a file, and the folders it lies in. Gives its path for a command line.
    std::string Write(std::string_view strRelative, std::string_view strContent) const;
};

std::string ReadWholeFile(const std::filesystem::path& file);
void WriteWholeFile(const std::filesystem::path& file, std::string_view strContent);

// The words of a text between line ends; no empty last one.
std::vector<std::string> LinesOf(const std::string& strText);

// A "lum serve" that publishes. Constructed, it has published, or ended.
class LumServe
{
public:
    enum class Mode
    {
        Once,
        Follow
    };

    // The arguments behind "serve --once", or behind "serve" for one that follows changes.
    explicit LumServe(const std::vector<std::string>& vecArguments, Mode eMode = Mode::Once);

    // Asks it to stop, or ends it where that can't be done.
    ~LumServe();

    bool Publishes() const { return m_bPublishes; }
    LumProcess& Process() { return m_process; }

    // Asks it to stop and waits. -1 where a process can't be asked.
    int Stop();

private:
    LumProcess m_process;
    bool m_bPublishes;
};

// Runs lum with --json behind the arguments, and takes its output for a document.
nlohmann::json LumJson(std::vector<std::string> vecArguments, int nExpectedExit = 0);

// A section of one source put up by the test itself, in place of a publisher: any bytes as data section, and an update
// state section that enables the source.
class HandMadePublisher
{
public:
    HandMadePublisher();
    ~HandMadePublisher();
    HandMadePublisher(const HandMadePublisher&) = delete;
    HandMadePublisher& operator=(const HandMadePublisher&) = delete;

    // Publishes a block of the source AF_SOURCE. *this keeps it until the next one.
    bool PublishBlock(const std::string& strBlock);

    // The same for an image, which is compressed on the way.
    bool PublishImage(const std::string& strImage);

    // Replaces the update state section by other bytes.
    bool PublishState(const std::string& strBytes);

private:
    struct Sections;
    std::unique_ptr<Sections> m_pSections;
};

// A good update state section with AF_SOURCE enabled.
std::string GoodState();

// The compressed block of an image.
std::string BlockOf(const std::string& strImage);

// A small image with files, folders, types and a removed node, made by the library.
std::string SmallImage();

// 32-bit words in little-endian bytes.
uint32_t WordAt(const std::string& strBytes, size_t uAt);
void SetWord(std::string* pstrBytes, size_t uAt, uint32_t uValue);

// Every command of a reader, on the small image.
inline const std::vector<std::vector<std::string>> kReaderCommands = {{"status"},
                                                                      {"ls"},
                                                                      {"ls", "Ship"},
                                                                      {"tree"},
                                                                      {"find"},
                                                                      {"find", "--ext", "png"},
                                                                      {"stat", "Ship/Hull.png"},
                                                                      {"types"},
                                                                      {"tree", "--json"}};

// A path as the index has it, with "/" on every system.
inline std::string Forward(const std::string& strPath)
{
    return std::filesystem::path(strPath).generic_string();
}

// True when the text holds what is looked for.
inline bool Contains(const std::string& strText, std::string_view strWanted)
{
    return strText.find(strWanted) != std::string::npos;
}
