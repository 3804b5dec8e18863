// Searches by name and extension, held against a walk over all nodes that looks at each by itself: the same nodes, each
// at the same place between the lines of the log, and the same lines.
#pragma once

#include "mapping/mapping_test_tools.h"
#include "platform/vo_platform.h"

namespace mappingtest
{

// What a search does: each node's bytes with the lines that stood in the log before it.
struct SearchOutcome
{
    struct Call
    {
        Bytes node;
        size_t uLinesBefore;
        bool operator==(const Call&) const = default;
    };
    std::vector<Call> vecCalls;
    Lines vecLines;
    int nResult = 0;

    bool operator==(const SearchOutcome&) const = default;
};

struct SearchQuestion
{
    bool bExtension = false;
    unsigned int uFrom = 0;
    VOWString strText;
    int bMatchCase = 0;
    VOULONG dwType = 3;
    int bSub = 1;
    size_t uStopAt = ~size_t{0};
};

// An inspector that looks into memory of the test's own.
class SearchedInspector : public OpenInspector
{
public:
    SearchedInspector() : OpenInspector(AF_SOURCE) {}
    VOTSAssetNodeContainer& Container() const { return *m_pkAssetNodeContainer; }

    SearchOutcome Search(const SearchQuestion& question) const
    {
        SearchOutcome outcome;
        LogCapture log;
        Run run{&question, &Container(), &log, &outcome};
        const votest::PlacedText text(question.strText);
        outcome.nResult = question.bExtension
                              ? TraverseAssetNode_Extension(question.uFrom, text, question.bMatchCase, question.bSub,
                                                            &Run::Take, &run)
                              : TraverseAssetNode_FileName(question.uFrom, text, question.bMatchCase, question.dwType,
                                                           question.bSub, &Run::Take, &run);
        outcome.vecLines = log.Lines();
        return outcome;
    }

    // What it has to be, by the walk over all nodes.
    SearchOutcome Expected(const SearchQuestion& question) const
    {
        SearchOutcome outcome;
        LogCapture log;
        Run run{&question, &Container(), &log, &outcome};
        run.strText = Taken(question);
        outcome.nResult = VOTSAssetNodeContainerHelper::TraverseAssetNode(
            &Container(), question.uFrom, question.bExtension ? 1 : question.dwType, question.bSub,
            question.bExtension ? &Run::LookAtExtension : &Run::LookAtName, &run);
        outcome.vecLines = log.Lines();
        return outcome;
    }

private:
    struct Run
    {
        const SearchQuestion* pQuestion;
        const VOTSAssetNodeContainer* pContainer;
        const LogCapture* pLog;
        SearchOutcome* pOutcome;
        VOWString strText = {};

        static int Take(const structAssetNode& tsNode, void* pvRun, int& bStop)
        {
            Run& run = *static_cast<Run*>(pvRun);
            run.pOutcome->vecCalls.push_back({BytesOf(tsNode), run.pLog->Count()});
            bStop = run.pOutcome->vecCalls.size() >= run.pQuestion->uStopAt ? 1 : 0;
            return 0;
        }

        static int LookAtName(const structAssetNode& tsNode, void* pvRun, int& bStop)
        {
            const Run& run = *static_cast<Run*>(pvRun);
            const VOWCHAR* const pszName = run.pContainer->GetString(tsNode.hStrBaseName);
            if (tsNode.hStrBaseName == INVALID_HANDLE_VALUE || pszName == nullptr)
            {
                return LogAt("FileName", tsNode.hStrBaseName == INVALID_HANDLE_VALUE
                                             ? "tsNode.hStrBaseName != INVALID_HANDLE_VALUE"
                                             : "pszAssetNodeName");
            }
            const bool bHit = run.pQuestion->bMatchCase != 0 ? StrStrW(pszName, run.strText.c_str()) != nullptr
                                                             : StrStrIW(pszName, run.strText.c_str()) != nullptr;
            return bHit ? Take(tsNode, pvRun, bStop) : 0;
        }

        static int LookAtExtension(const structAssetNode& tsNode, void* pvRun, int& bStop)
        {
            const Run& run = *static_cast<Run*>(pvRun);
            const VOWString strOwn = ReadText(run.pContainer->GetString(tsNode.hStrExtension));
            if (tsNode.hStrExtension == INVALID_HANDLE_VALUE || strOwn.empty() || run.strText.empty())
            {
                return LogAt("Extension", tsNode.hStrExtension == INVALID_HANDLE_VALUE
                                              ? "tsNode.hStrExtension != INVALID_HANDLE_VALUE"
                                          : strOwn.empty() ? "pszAssetExt && *pszAssetExt"
                                                           : "pszSourceContext && *pszSourceContext");
            }
            const VOWString strList = run.strText + VOTEXT("|");
            for (size_t uAt = 0, uEnd = 0; (uEnd = strList.find(VOTEXT('|'), uAt)) != VOWString::npos; uAt = uEnd + 1)
            {
                const VOWString strOne = strList.substr(uAt, uEnd - uAt);
                if (!strOne.empty() && (run.pQuestion->bMatchCase != 0 ? StrCmpW(strOwn.c_str(), strOne.c_str())
                                                                       : StrCmpIW(strOwn.c_str(), strOne.c_str())) == 0)
                {
                    return Take(tsNode, pvRun, bStop);
                }
            }
            return 0;
        }

        static int LogAt(const char* pszWhich, const char* pszText)
        {
            VOLogPrintf(VOLOG_ERROR, "VO_PROCESS_ERROR(%s) at line 1 in %sTraverseAssetNodeInernal_%s\n", pszText,
                        kInspector.c_str(), pszWhich);
            return 0;
        }
    };

    // Of a text from 100 characters on the first 100 count, and behind them the flag as a character.
    static VOWString Taken(const SearchQuestion& question)
    {
        VOWString strText = question.strText.c_str();
        if (strText.size() >= 100)
        {
            strText.resize(100);
            strText.append(question.bMatchCase != 0 ? 1 : 0, static_cast<VOWCHAR>(question.bMatchCase));
        }
        return strText;
    }
};

// Random questions about a container with these texts in it.
class QuestionMaker
{
public:
    QuestionMaker(Random& random, std::vector<VOWString> vecTexts) : m_random(random), m_vecTexts(std::move(vecTexts))
    {
        m_vecTexts.push_back(VOTEXT("nowhere"));
    }

    SearchQuestion Make(unsigned int uNodes)
    {
        SearchQuestion question;
        question.bExtension = m_random.Percent(40);
        question.uFrom = m_random.Percent(60) ? 0 : static_cast<unsigned int>(m_random.Below(uNodes + 1));
        question.strText = question.bExtension ? _List() : _Part();
        question.bMatchCase = m_random.Percent(40) ? 1 : 0;
        question.dwType = m_random.Percent(70) ? 3 : static_cast<VOULONG>(m_random.Below(4));
        question.bSub = m_random.Percent(90) ? 1 : 0;
        question.uStopAt = m_random.Percent(70) ? question.uStopAt : 1 + m_random.Below(40);
        return question;
    }

private:
    // Of a text, with some letters in the other case.
    VOWString _Part()
    {
        const VOWString& strWhole = m_vecTexts[m_random.Below(m_vecTexts.size())];
        const size_t uAt = m_random.Below(strWhole.size() + 1);
        VOWString strPart = strWhole.substr(uAt, 1 + m_random.Below(m_random.Percent(80) ? 4 : 140));
        for (VOWCHAR& ch : strPart)
        {
            const bool bLetter = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= 0xC0 && ch <= 0xFE);
            ch = bLetter && m_random.Percent(25) ? static_cast<VOWCHAR>(ch ^ 0x20) : ch;
        }
        return strPart;
    }

    VOWString _List()
    {
        VOWString strList;
        for (size_t uTokens = m_random.Below(4); uTokens > 0; --uTokens)
        {
            strList += m_random.Percent(60) ? m_vecTexts[m_random.Below(m_vecTexts.size())].substr(0, 120) : _Part();
            strList += m_random.Percent(90) ? VOTEXT("|") : VOTEXT("||");
        }
        return strList;
    }

    Random& m_random;
    std::vector<VOWString> m_vecTexts;
};

inline std::string Shown(const SearchQuestion& question)
{
    return (question.bExtension ? "extension from " : "name from ") + std::to_string(question.uFrom) + " case " +
           std::to_string(question.bMatchCase) + " type " + std::to_string(question.dwType) + " sub " +
           std::to_string(question.bSub) + " stop " + std::to_string(question.uStopAt) + " text " +
           votest::Shown(question.strText);
}

// True when the search does what the walk does.
inline bool SearchesAsAWalk(const SearchedInspector& inspector, const SearchQuestion& question)
{
    const SearchOutcome expected = inspector.Expected(question);
    const SearchOutcome outcome = inspector.Search(question);
    EXPECT_EQ(expected.vecLines, outcome.vecLines) << Shown(question);
    EXPECT_EQ(expected.vecCalls.size(), outcome.vecCalls.size()) << Shown(question);
    EXPECT_TRUE(expected == outcome) << Shown(question);
    return expected == outcome;
}

}  // namespace mappingtest
