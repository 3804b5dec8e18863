// What the tests of the stack walker share.
#pragma once

#include <string>
#include <vector>

#include "vo_stack_walker.h"

namespace walkertest
{
typedef std::vector<std::string> Texts;

// Keeps what is reported.
class Walker : public StackWalker
{
public:
    using StackWalker::m_bD3D11Translate;
    using StackWalker::m_bModulesLoaded;
    using StackWalker::m_bNoFrameKept;
    using StackWalker::m_hProcess;
    using StackWalker::m_Internal;
    using StackWalker::m_nOptions;
    using StackWalker::m_nSummaryFrames;
    using StackWalker::m_pszSymPath;
    using StackWalker::m_szFirstSourceFile;
    using StackWalker::m_szSummary;
    using StackWalker::myReadProcMem;
    using StackWalker::OnDbgHelpErr;
    using StackWalker::OnLoadModule;
    using StackWalker::OnSymInit;
    using StackWalker::StackWalker;

    void OnOutput(const char* pszText) override { vecOutput.push_back(pszText); }
    void OnCallstackEntry(CallstackEntryType eType, CallstackEntry& entry) override
    {
        vecType.push_back(eType);
        vecName.push_back(entry.szUndName);
        vecModule.push_back(entry.szModuleName);
        vecLine.push_back(entry.uLineNumber);
        vecAddress.push_back(entry.uAddress);
        StackWalker::OnCallstackEntry(eType, entry);
    }
    void Enter(CallstackEntryType eType, CallstackEntry& entry) { StackWalker::OnCallstackEntry(eType, entry); }

    // One frame of these, as a walk would give it.
    void Enter(const std::string& strName, const std::string& strModule, const std::string& strFile = "")
    {
        CallstackEntry entry = {};
        entry.uAddress = 0x1234;
        entry.uLineNumber = 7;
        strName.copy(entry.szName, sizeof(entry.szName) - 1);
        strModule.copy(entry.szModuleName, sizeof(entry.szModuleName) - 1);
        strFile.copy(entry.szLineFileName, sizeof(entry.szLineFileName) - 1);
        Enter(eEntryNext, entry);
    }

    // The state at the start of a walk.
    void Reset()
    {
        m_bNoFrameKept = 1;
        m_nSummaryFrames = 0;
        m_szSummary[0] = 0;
        m_szFirstSourceFile[0] = 0;
        m_bD3D11Translate = 0;
    }

    // Whether a frame whose undecorated name holds a text was met.
    int FrameOf(const std::string& strName) const
    {
        for (size_t i = 0; i < vecName.size(); ++i)
        {
            if (vecName[i].find(strName) != std::string::npos)
            {
                return static_cast<int>(i);
            }
        }
        return -1;
    }

    Texts vecOutput;
    std::vector<CallstackEntryType> vecType;
    Texts vecName;
    Texts vecModule;
    std::vector<VOULONG> vecLine;
    std::vector<unsigned long long> vecAddress;
};
}  // namespace walkertest
