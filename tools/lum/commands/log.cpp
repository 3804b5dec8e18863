// lum log: prints the newest log file of a folder, and follows it.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

#include "base/files.h"
#include "commands/commands.h"
#include "platform/vo_process.h"

namespace lum
{

namespace
{

namespace fs = std::filesystem;

// How soon a new line, and a request to stop, is seen.
constexpr uint32_t kTurnMilliseconds = 100;

constexpr size_t kChunk = 64 * 1024;

// The names in a folder that have a form, the newest first: in their forms, the order of texts is that of times. False
// when the folder can't be listed.
bool NewestFirst(const fs::path& folder, const std::regex& form, std::vector<std::string>* pvecNames)
{
    std::error_code error;
    pvecNames->clear();
    for (fs::directory_iterator it(folder, error); !error && it != fs::directory_iterator(); it.increment(error))
    {
        const std::string strName = ToNative(it->path().filename());
        if (std::regex_match(strName, form))
        {
            pvecNames->push_back(strName);
        }
    }
    std::sort(pvecNames->rbegin(), pvecNames->rend());
    return !error;
}

// The newest log file below a folder; empty when there is none. False when the folder can't be listed.
bool FindNewest(const fs::path& folder, fs::path* pFile)
{
    static const std::regex s_kDay("[0-9]{4}-[0-9]{2}-[0-9]{2}");
    static const std::regex s_kFile("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}-[0-9]{2}-[0-9]{2}\\.log");
    std::vector<std::string> vecDays;
    std::vector<std::string> vecFiles;
    pFile->clear();
    if (!NewestFirst(folder, s_kDay, &vecDays))
    {
        return false;
    }
    for (const std::string& strDay : vecDays)
    {
        // A day's folder is made before its first file.
        if (NewestFirst(folder / strDay, s_kFile, &vecFiles) && !vecFiles.empty())
        {
            *pFile = folder / strDay / vecFiles.front();
            return true;
        }
    }
    return true;
}

// Where the last so many lines of a text begin. A line end behind the last line begins no new one.
size_t StartOfLastLines(std::string_view strText, uint32_t uLines)
{
    size_t uAt = strText.size();
    size_t uEnd = !strText.empty() && strText.back() == '\n' ? uAt - 1 : uAt;
    for (; uLines != 0; --uLines)
    {
        const size_t uBreak = uEnd != 0 ? strText.rfind('\n', uEnd - 1) : std::string_view::npos;
        if (uBreak == std::string_view::npos)
        {
            return 0;
        }
        uAt = uBreak + 1;
        uEnd = uBreak;
    }
    return uAt;
}

// One log file that is read as it grows.
class LogReader
{
public:
    const fs::path& File() const { return m_file; }

    void Start(const fs::path& file)
    {
        m_file = file;
        m_uRead = 0;
    }

    // What was added since the last call. Line ends are "\n": the output has its own. False when the file can't be
    // opened; it may be there again later.
    bool ReadMore(std::string* pstrText)
    {
        std::ifstream stream(m_file, std::ios::binary);
        std::error_code error;
        pstrText->clear();
        const uintmax_t uSize = fs::file_size(m_file, error);
        if (!stream || error)
        {
            return false;
        }
        // Somebody has emptied it.
        m_uRead = uSize < m_uRead ? 0 : m_uRead;
        stream.seekg(static_cast<std::streamoff>(m_uRead));
        std::string strChunk(kChunk, '\0');
        while (stream.read(strChunk.data(), static_cast<std::streamsize>(strChunk.size())) || stream.gcount() != 0)
        {
            pstrText->append(strChunk, 0, static_cast<size_t>(stream.gcount()));
        }
        m_uRead += pstrText->size();
        std::erase(*pstrText, '\r');
        return true;
    }

private:
    fs::path m_file;
    uintmax_t m_uRead = 0;
};

// Prints what there is of the newest file. A file that was followed up to now is printed to its end first.
bool PrintNews(const fs::path& newest, LogReader* pReader, Output* pOutput)
{
    std::string strText;
    if (!pReader->File().empty() && pReader->ReadMore(&strText))
    {
        pOutput->Write(strText);
    }
    if (pReader->File() != newest)
    {
        pReader->Start(newest);
        pReader->ReadMore(&strText);
        pOutput->Write(strText);
    }
    return pOutput->Flush();
}

int Follow(const fs::path& folder, LogReader* pReader, Output* pOutput)
{
    while (!VOWaitForStopRequest(kTurnMilliseconds))
    {
        fs::path newest;
        FindNewest(folder, &newest);
        // A folder that is gone may come again; what was read of its file isn't printed twice.
        if (!PrintNews(newest.empty() ? pReader->File() : newest, pReader, pOutput))
        {
            break;
        }
    }
    return pOutput->Finish(kExitFound);
}

}  // namespace

int RunLog(const LogOptions& options, Output* pOutput)
{
    const fs::path folder = ToPath(options.strFolder);
    fs::path newest;
    LogReader reader;
    std::string strText;
    if (!FindNewest(folder, &newest))
    {
        return EndWith(fmt::format("{}: can't be listed", options.strFolder));
    }
    if (options.bFollow && !VOHandleStopRequests())
    {
        return EndWith("requests to stop can't be handled");
    }
    if (newest.empty())
    {
        Complain(fmt::format("{}: no log file is there{}", options.strFolder, options.bFollow ? " yet" : ""));
        return options.bFollow ? Follow(folder, &reader, pOutput) : kExitNotFound;
    }
    reader.Start(newest);
    if (!reader.ReadMore(&strText))
    {
        return EndWith(fmt::format("{}/{}: can't be read", options.strFolder, ToNative(newest.filename())));
    }
    pOutput->Write(std::string_view(strText).substr(options.uLines ? StartOfLastLines(strText, *options.uLines) : 0));
    const int nResult = pOutput->Finish(kExitFound);
    return options.bFollow && nResult == kExitFound ? Follow(folder, &reader, pOutput) : nResult;
}

}  // namespace lum
