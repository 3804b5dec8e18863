// The check macros: what they print, when they evaluate, where control goes.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/stdout_capture.h"
#include "vo_log.h"

using namespace votest;

// Outside a test, so that the functions have the names of ordinary code.
#define VOTEST_ZERO 0
#define VOTEST_IDENTITY(value) (value)

int PlainProcessError(int nValue, std::string& strSteps)
{
    int nResult = 0;
    strSteps += "a";
    VO_PROCESS_ERROR(nValue < 3);
    strSteps += "b";
    nResult = 1;
Exit0:
    strSteps += "c";
    return nResult;
}

int PlainComProcessError(int nValue)
{
    int nResult = 0;
    VO_COM_PROCESS_ERROR(nValue);
    nResult = 1;
Exit0:
    return nResult;
}

enum OldResult : long
{
    OLD_FAILED = -1,
    OLD_DONE = 0
};
enum class NewResult : signed char
{
    Failed = -5,
    Done = 5
};

template <typename T>
int AnyComProcessError(T result)
{
    int nResult = 0;
    VO_COM_PROCESS_ERROR(result);
    nResult = 1;
Exit0:
    return nResult;
}

int PlainCheckError(int nValue, std::string& strSteps)
{
    VO_CHECK_ERROR(nValue < 3);
    strSteps += "next";
    return 1;
}

int PlainProcessErrorFalse(bool bFail)
{
    int nResult = 0;
    if (bFail)
        VO_PROCESS_ERROR_FALSE;
    nResult = 1;
Exit0:
    return nResult;
}

namespace votest_names
{
class Outer
{
public:
    Outer() { VO_CHECK_ERROR(VOTEST_ZERO); }
    virtual ~Outer() { VO_CHECK_ERROR(VOTEST_ZERO); }

    virtual int Virtual() const
    {
        VO_CHECK_ERROR(VOTEST_ZERO);
        return 0;
    }
    static const char* Static(int (*)(int), std::vector<std::vector<int>>)
    {
        VO_CHECK_ERROR(VOTEST_ZERO);
        return nullptr;
    }
    std::vector<std::pair<int, const char*>>& ReturnsAReference()
    {
        VO_CHECK_ERROR(VOTEST_ZERO);
        return m_vecPair;
    }

    class Inner
    {
    public:
        unsigned long long _Protected_P(int)
        {
            VO_CHECK_ERROR(VOTEST_ZERO);
            return 0;
        }
    };

private:
    std::vector<std::pair<int, const char*>> m_vecPair;
};

void Free()
{
    VO_CHECK_ERROR(VOTEST_ZERO);
}
}  // namespace votest_names

namespace
{
int InAnAnonymousNamespace()
{
    VO_CHECK_ERROR(VOTEST_ZERO);
    return 0;
}

// The function that the last captured line names.
std::string LastFunction(const LogCapture& log)
{
    const std::string strLine = log.Lines().back();
    const std::string strMark = " at line # in ";
    const size_t uAt = strLine.find(strMark);
    return uAt == std::string::npos ? strLine
                                    : strLine.substr(uAt + strMark.size(), strLine.size() - uAt - strMark.size() - 1);
}
}  // namespace

TEST(CheckMacros, AFailingProcessErrorLogsAndRunsOnlyTheCleanUp)
{
    const LogCapture log;
    std::string strSteps;
    EXPECT_EQ(0, PlainProcessError(3, strSteps));
    EXPECT_EQ("ac", strSteps);
    EXPECT_EQ((std::vector<std::string>{CheckLine("VO_PROCESS_ERROR", "nValue < 3", "PlainProcessError")}),
              log.Lines());
    EXPECT_EQ(VOLOG_ERROR, log.Entries().at(0).emPriority);
}

TEST(CheckMacros, APassingProcessErrorLogsNothing)
{
    const LogCapture log;
    StdoutCapture printed;
    std::string strSteps;
    EXPECT_EQ(1, PlainProcessError(2, strSteps));
    EXPECT_EQ("abc", strSteps);
    EXPECT_EQ("", printed.Text());
    EXPECT_EQ(0u, log.Count());
}

TEST(CheckMacros, AComProcessErrorFailsWhenItsResultIsNegative)
{
    const LogCapture log;
    EXPECT_EQ(1, PlainComProcessError(0));
    EXPECT_EQ(1, PlainComProcessError(5));
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ(0, PlainComProcessError(-1));
    EXPECT_EQ((std::vector<std::string>{CheckLine("VO_COM_PROCESS_ERROR", "nValue", "PlainComProcessError")}),
              log.Lines());
    EXPECT_EQ(VOLOG_ERROR, log.Entries().at(0).emPriority);
}

TEST(CheckMacros, AComProcessErrorTakesAnEnumerationByItsNumber)
{
    const LogCapture log;
    EXPECT_EQ(1, AnyComProcessError(OLD_DONE));
    EXPECT_EQ(1, AnyComProcessError(NewResult::Done));
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ(0, AnyComProcessError(OLD_FAILED));
    EXPECT_EQ(0, AnyComProcessError(NewResult::Failed));
    EXPECT_EQ(2u, log.Count());
}

TEST(CheckMacros, AComProcessErrorNeverFailsForAnUnsignedResult)
{
    const LogCapture log;
    EXPECT_EQ(1, AnyComProcessError(0u));
    EXPECT_EQ(1, AnyComProcessError(0x80000000u));
    EXPECT_EQ(1, AnyComProcessError(true));
    EXPECT_EQ(0, AnyComProcessError(-1LL));
    EXPECT_EQ(0, AnyComProcessError(-0.5));
    EXPECT_EQ(2u, log.Count());
}

TEST(CheckMacros, AFailingCheckErrorLogsAndTheNextStatementRuns)
{
    const LogCapture log;
    std::string strSteps;
    EXPECT_EQ(1, PlainCheckError(3, strSteps));
    EXPECT_EQ("next", strSteps);
    EXPECT_EQ((std::vector<std::string>{CheckLine("VO_CHECK_ERROR", "nValue < 3", "PlainCheckError")}), log.Lines());
}

TEST(CheckMacros, APassingCheckErrorLogsNothing)
{
    const LogCapture log;
    std::string strSteps;
    EXPECT_EQ(1, PlainCheckError(2, strSteps));
    EXPECT_EQ(0u, log.Count());
}

TEST(CheckMacros, AProcessErrorFalseNamesNoExpressionAndGoesToTheCleanUp)
{
    const LogCapture log;
    EXPECT_EQ(1, PlainProcessErrorFalse(false));
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ(0, PlainProcessErrorFalse(true));
    EXPECT_EQ((std::vector<std::string>{"VO_PROCESS_ERROR_FALSE at line # in PlainProcessErrorFalse\n"}), log.Lines());
    EXPECT_EQ(VOLOG_ERROR, log.Entries().at(0).emPriority);
}

TEST(CheckMacros, TheLineNumberIsThatOfTheCheck)
{
    const LogCapture log;
    VO_CHECK_ERROR(VOTEST_ZERO);
    const int nLine = __LINE__ - 1;
    EXPECT_NE(std::string::npos, log.Entries().at(0).strText.find(" at line " + std::to_string(nLine) + " in "));
}

TEST(CheckMacros, TheExpressionIsEvaluatedExactlyOnce)
{
    const LogCapture log;
    int nCalls = 0;
    VO_CHECK_ERROR(++nCalls);
    EXPECT_EQ(1, nCalls);
    VO_CHECK_ERROR(++nCalls < 0);
    EXPECT_EQ(2, nCalls);
    VO_PROCESS_ERROR(++nCalls);
    EXPECT_EQ(3, nCalls);
    VO_COM_PROCESS_ERROR(++nCalls);
    EXPECT_EQ(4, nCalls);
    VO_COM_PROCESS_ERROR(-(++nCalls));
    ADD_FAILURE() << "control went on behind a failed check";
Exit0:
    EXPECT_EQ(5, nCalls);
    EXPECT_EQ(2u, log.Count());
}

TEST(CheckMacros, TheTextOfAnExpressionIsTakenBeforeItsMacrosExpand)
{
    const LogCapture log;
    VO_CHECK_ERROR(VOTEST_ZERO);
    VO_CHECK_ERROR(VOTEST_IDENTITY(VOTEST_ZERO) != VOTEST_ZERO);
    VO_PROCESS_ERROR(VOTEST_ZERO);
    ADD_FAILURE() << "control went on behind a failed check";
Exit0:
    ASSERT_EQ(3u, log.Count());
    EXPECT_EQ(0u, log.Lines()[0].find("VO_CHECK_ERROR(VOTEST_ZERO) at line # in "));
    EXPECT_EQ(0u, log.Lines()[1].find("VO_CHECK_ERROR(VOTEST_IDENTITY(VOTEST_ZERO) != VOTEST_ZERO) at line # in "));
    EXPECT_EQ(0u, log.Lines()[2].find("VO_PROCESS_ERROR(VOTEST_ZERO) at line # in "));
}

TEST(CheckMacros, AnExpressionWithSideEffectsIsPrintedAsItIsWritten)
{
    const LogCapture log;
    void* hHandle = nullptr;
    VO_CHECK_ERROR(INVALID_HANDLE_VALUE != (hHandle = INVALID_HANDLE_VALUE));
    EXPECT_EQ(INVALID_HANDLE_VALUE, hHandle);
    EXPECT_EQ(0u, log.Lines().at(0).find(
                      "VO_CHECK_ERROR(INVALID_HANDLE_VALUE != (hHandle = INVALID_HANDLE_VALUE)) at line # in "));
}

TEST(CheckMacros, APercentSignInAnExpressionIsPrintedAsItIs)
{
    const LogCapture log;
    const int nValue = 4;
    VO_CHECK_ERROR(nValue % 2 == 1);
    EXPECT_EQ(0u, log.Lines().at(0).find("VO_CHECK_ERROR(nValue % 2 == 1) at line # in "));
}

TEST(CheckMacros, PointersAndNumbersAreTruthValues)
{
    const LogCapture log;
    const char* pszText = "text";
    VO_CHECK_ERROR(pszText);
    VO_CHECK_ERROR(0x100000000ull);
    VO_CHECK_ERROR(-1);
    EXPECT_EQ(0u, log.Count());
    pszText = nullptr;
    VO_CHECK_ERROR(pszText);
    EXPECT_EQ(1u, log.Count());
}

TEST(CheckMacros, StandBelowAnIfWithoutBraces)
{
    const LogCapture log;
    bool bElse = false;
    if (VOTEST_ZERO != 0)
        VO_CHECK_ERROR(VOTEST_ZERO);
    else
        bElse = true;
    EXPECT_TRUE(bElse);
    EXPECT_EQ(0u, log.Count());
}

TEST(CheckMacros, FunctionsAreNamedWithTheirQualifiersAndNothingElse)
{
    const LogCapture log;
    {
        votest_names::Outer outer;
        EXPECT_EQ("votest_names::Outer::Outer", LastFunction(log));
        outer.Virtual();
        EXPECT_EQ("votest_names::Outer::Virtual", LastFunction(log));
        votest_names::Outer::Static(nullptr, {});
        EXPECT_EQ("votest_names::Outer::Static", LastFunction(log));
        outer.ReturnsAReference();
        EXPECT_EQ("votest_names::Outer::ReturnsAReference", LastFunction(log));
        votest_names::Outer::Inner()._Protected_P(1);
        EXPECT_EQ("votest_names::Outer::Inner::_Protected_P", LastFunction(log));
    }
    EXPECT_EQ("votest_names::Outer::~Outer", LastFunction(log));
    votest_names::Free();
    EXPECT_EQ("votest_names::Free", LastFunction(log));
}

TEST(CheckMacros, AFunctionInAnAnonymousNamespaceIsNamed)
{
    const LogCapture log;
    InAnAnonymousNamespace();
    EXPECT_EQ("InAnAnonymousNamespace", LastFunction(log));
}
