// A tool that listens: for each event it looks at once whether the index says the same, and writes a line when it was
// called, by the system's monotonic clock. scripts/benchmark-live runs it.
//
//   NANOSECONDS KIND PATH FOUND SIZE NANOSECONDS-OF-THE-REMAPPING
//
// KIND as the publisher numbers it; PATH is the new one of a rename; FOUND 1 or 0; SIZE in bytes, 0 when not found.
#include <inttypes.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "vots_file_event.h"
#include "vots_file_mapping.h"

using namespace LUMTrayService;

namespace
{

int64_t Now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

class Listener : public IVOTSFileEventListener
{
public:
    explicit Listener(VOTSFileMappingInspector* pkInspector) : m_pkInspector(pkInspector) {}

    int OnFileEvent(const FileEventParam* pParam) override
    {
        const int64_t nCalled = Now();
        VOWString strPath(pParam->pszPath);
        if (pParam->pszNewName != nullptr)
        {
            strPath.resize(strPath.rfind(VOWCHAR('/')) + 1);
            strPath += pParam->pszNewName;
        }
        m_pkInspector->ReMappingData();
        structAssetNode node;
        const int nFound = m_pkInspector->GetAssetNode(strPath.c_str(), node);
        const int64_t nReady = Now();
        std::string strNarrow;
        for (const VOWCHAR ch : strPath)
        {
            strNarrow += static_cast<char>(ch);
        }
        printf("%" PRId64 " %u %s %d %" PRIu64 " %" PRId64 "\n", nCalled, pParam->dwEventParam0, strNarrow.c_str(),
               nFound, nFound != 0 ? uint64_t{node.ullFileSize} : 0, nReady - nCalled);
        fflush(stdout);
        return 1;
    }

private:
    VOTSFileMappingInspector* m_pkInspector;
};

}  // namespace

// Ends when its standard input does.
int main()
{
    VOTSFileMappingAssemble* const pkMapping = VOTSFileMappingAssemble::Instance();
    VOTSFileEventMappingAssemble* const pkEvents = VOTSFileEventMappingAssemble::Instance();
    VOTSFileMappingInspector* pkInspector = nullptr;
    if (pkMapping->OpenMappingState() != Inspector::ET_NONE || pkMapping->OpenMappingData() != Inspector::ET_NONE ||
        (pkInspector = pkMapping->GetFileMappingInspector(AF_SOURCE)) == nullptr)
    {
        fprintf(stderr, "nothing is published\n");
        return 1;
    }
    Listener* const piListener = new Listener(pkInspector);
    pkEvents->BindListener(AF_SOURCE, piListener);
    pkEvents->Run();
    char ch = 0;
    while (read(STDIN_FILENO, &ch, 1) > 0)
    {
    }
    pkEvents->Stop();
    VOTSFileEventMappingAssemble::Release();
    piListener->Release();
    VOTSFileMappingAssemble::Release();
    return 0;
}
