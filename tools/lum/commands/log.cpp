// lum log: prints the newest log file of a folder, and follows it.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

#include "base/console.h"
#include "base/exit_code.h"
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
bool NewestFirst(const fs::path& kFolder, const std::regex& kForm, std::vector<std::string>* pvecNames)
{
    std::error_code kError;
    pvecNames->clear();
    for (fs::directory_iterator it(kFolder, kError); !kError && it != fs::directory_iterator(); it.increment(kError))
    {
        const std::string strName = ToNative(it->path().filename());
        if (std::regex_match(strName, kForm))
        {
            pvecNames->push_back(strName);
        }
    }
    std::sort(pvecNames->rbegin(), pvecNames->rend());
    return !kError;
}

// The newest log file below a folder; empty when there is none. False when the folder can't be listed.
bool FindNewest(const fs::path& kFolder, fs::path* pkFile)
{
    static const std::regex s_kDay("[0-9]{4}-[0-9]{2}-[0-9]{2}");
    static const std::regex s_kFile("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}-[0-9]{2}-[0-9]{2}\\.log");
    std::vector<std::string> vecDays;
    std::vector<std::string> vecFiles;
    pkFile->clear();
    if (!NewestFirst(kFolder, s_kDay, &vecDays))
    {
        return false;
    }
    for (const std::string& strDay : vecDays)
    {
        // A day's folder is made before its first file.
        if (NewestFirst(kFolder / strDay, s_kFile, &vecFiles) && !vecFiles.empty())
        {
            *pkFile = kFolder / strDay / vecFiles.front();
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
    const fs::path& File() const { return m_kFile; }

    void Start(const fs::path& kFile)
    {
        m_kFile = kFile;
        m_uRead = 0;
    }

    // What was added since the last call. Line ends are "\n": the output has its own. False when the file can't be
    // opened; it may be there again later.
    bool ReadMore(std::string* pstrText)
    {
        std::ifstream kStream(m_kFile, std::ios::binary);
        std::error_code kError;
        pstrText->clear();
        const uintmax_t uSize = fs::file_size(m_kFile, kError);
        if (!kStream || kError)
        {
            return false;
        }
        // Somebody has emptied it.
        m_uRead = uSize < m_uRead ? 0 : m_uRead;
        kStream.seekg(static_cast<std::streamoff>(m_uRead));
        std::string strChunk(kChunk, '\0');
        while (kStream.read(strChunk.data(), static_cast<std::streamsize>(strChunk.size())) || kStream.gcount() != 0)
        {
            pstrText->append(strChunk, 0, static_cast<size_t>(kStream.gcount()));
        }
        m_uRead += pstrText->size();
        std::erase(*pstrText, '\r');
        return true;
    }

private:
    fs::path m_kFile;
    uintmax_t m_uRead = 0;
};

// Prints what there is of the newest file. A file that was followed up to now is printed to its end first.
bool PrintNews(const fs::path& kNewest, LogReader* pkReader, Output* pkOutput)
{
    std::string strText;
    if (!pkReader->File().empty() && pkReader->ReadMore(&strText))
    {
        pkOutput->Write(strText);
    }
    if (pkReader->File() != kNewest)
    {
        pkReader->Start(kNewest);
        pkReader->ReadMore(&strText);
        pkOutput->Write(strText);
    }
    return pkOutput->Flush();
}

int Follow(const fs::path& kFolder, LogReader* pkReader, Output* pkOutput)
{
    while (!VOWaitForStopRequest(kTurnMilliseconds))
    {
        fs::path kNewest;
        FindNewest(kFolder, &kNewest);
        // A folder that is gone may come again; what was read of its file isn't printed twice.
        if (!PrintNews(kNewest.empty() ? pkReader->File() : kNewest, pkReader, pkOutput))
        {
            break;
        }
    }
    return pkOutput->Finish(kExitFound);
}

}  // namespace

int RunLog(const LogOptions& kOptions, Output* pkOutput)
{
    const fs::path kFolder = ToPath(kOptions.strFolder);
    fs::path kNewest;
    LogReader kReader;
    std::string strText;
    if (!FindNewest(kFolder, &kNewest))
    {
        Complain(fmt::format("{}: can't be listed", kOptions.strFolder));
        return kExitError;
    }
    if (kOptions.bFollow && !VOHandleStopRequests())
    {
        Complain("requests to stop can't be handled");
        return kExitError;
    }
    if (kNewest.empty())
    {
        Complain(fmt::format("{}: no log file is there{}", kOptions.strFolder, kOptions.bFollow ? " yet" : ""));
        return kOptions.bFollow ? Follow(kFolder, &kReader, pkOutput) : kExitNotFound;
    }
    kReader.Start(kNewest);
    if (!kReader.ReadMore(&strText))
    {
        Complain(fmt::format("{}/{}: can't be read", kOptions.strFolder, ToNative(kNewest.filename())));
        return kExitError;
    }
    pkOutput->Write(
        std::string_view(strText).substr(kOptions.uLines ? StartOfLastLines(strText, *kOptions.uLines) : 0));
    const int nResult = pkOutput->Finish(kExitFound);
    return kOptions.bFollow && nResult == kExitFound ? Follow(kFolder, &kReader, pkOutput) : nResult;
}

}  // namespace lum
