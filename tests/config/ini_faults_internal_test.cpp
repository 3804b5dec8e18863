// Memory runs out at every place, and a file can't be read on.
#include "config/ini_tools.h"
#include "support/fault_points.h"

using namespace initest;

namespace
{
// Runs a body with its first, second, ... allocation failing, until none is left. Result: how many runs failed.
template <typename Body>
unsigned FailEachTry(const Body& fnBody)
{
    for (unsigned uNth = 1;; ++uNth)
    {
        VOFaultArm("VOTryAllocate", uNth, false);
        fnBody(uNth);
        const bool bFired = VOFaultFired() != 0;
        VOFaultDisarm();
        if (!bFired)
        {
            return uNth - 1;
        }
    }
}

const std::string kNoEntry = CheckLine("VO_PROCESS_ERROR", "pEntry", "ZIniFile::MakeNewEntry");
}  // namespace

TEST(IniFaults, OpeningWithoutMemoryGives0AndAnEmptyObject)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.ini", "[a]\nx=1\n");
    // A text and an entry for each line, and the chain.
    EXPECT_EQ(5u, FailEachTry(
                      [&](unsigned uNth)
                      {
                          const LogCapture log;
                          Ini ini;
                          const int nResult = ini.OpenIniFile(strPath.c_str(), false);
                          if (VOFaultFired() == 0)
                          {
                              EXPECT_EQ(1, nResult);
                              return;
                          }
                          EXPECT_EQ(0, nResult);
                          EXPECT_EQ(nullptr, ini.m_pFirstEntry);
                          EXPECT_EQ(nullptr, ini.m_pLastEntry);
                          const bool bText = uNth == 1 || uNth == 4;
                          EXPECT_EQ(bText ? Texts{} : Texts{kNoEntry}, log.Lines()) << uNth;
                      }));
}

TEST(IniFaults, ANewEntryWithoutMemoryFreesTheWholeChainAndLogs)
{
    Ini ini("[a]\nx=1\n");
    const LogCapture log;
    VOFaultArm("VOTryAllocate", 1, false);
    EXPECT_EQ(nullptr, ini.MakeNewEntry());
    VOFaultDisarm();
    EXPECT_EQ(nullptr, ini.m_pFirstEntry);
    EXPECT_EQ(nullptr, ini.m_pLastEntry);
    EXPECT_EQ((Texts{kNoEntry}), log.Lines());
}

TEST(IniFaults, AddSectionAndKeyNamesTheItemThatFailed)
{
    const std::string strFunction = "ZIniFile::AddSectionAndKey";
    for (const char* pszKey : {"key", static_cast<const char*>(nullptr)})
    {
        // Both texts first, then a text and an entry for each item.
        const std::string strSecond = pszKey != nullptr ? "AddItem(tpKEYVALUE, Text)" : "AddItem(tpCOMMENT, Text)";
        const Texts vecItem = {"AddItem (tpSECTION, Text)", strSecond, "AddItem (tpSECTION, Text)",
                               "AddItem (tpSECTION, Text)", strSecond, strSecond};
        EXPECT_EQ(6u, FailEachTry(
                          [&](unsigned uNth)
                          {
                              Ini ini;
                              VOFaultDisarm();
                              ASSERT_EQ(1, ini.AddItem(tpSECTION, "[a]"));
                              VOFaultArm("VOTryAllocate", uNth, false);
                              const LogCapture log;
                              const int nResult = ini.AddSectionAndKey("s", pszKey, "v");
                              if (VOFaultFired() == 0)
                              {
                                  EXPECT_EQ(1, nResult);
                                  return;
                              }
                              EXPECT_EQ(0, nResult);
                              EXPECT_EQ(CheckLine("VO_PROCESS_ERROR", vecItem.at(uNth - 1), strFunction),
                                        log.Lines().back());
                          }));
    }
}

TEST(IniFaults, AChangeWithoutMemoryLeavesTheLinesAsTheyWere)
{
    EXPECT_LT(
        2u,
        FailEachTry(
            [](unsigned uNth)
            {
                Ini ini;
                VOFaultDisarm();
                ini.AddItem(tpSECTION, "[a]");
                ini.AddItem(tpKEYVALUE, "x=1");
                VOFaultArm("VOTryAllocate", uNth, false);
                ini.WriteString("a", "x", "2");
                const Texts vecChanged = ini.Lines();
                ini.WriteString("a", "new", "3");
                if (VOFaultFired() != 0)
                {
                    const bool bFirst = vecChanged == Texts{"s:[a]", "k:x=1"};
                    EXPECT_EQ(bFirst ? (Texts{"s:[a]", "k:new=3", "k:x=1"}) : (Texts{"s:[a]", "k:x=2"}), ini.Lines());
                }
            }));
}

TEST(IniFaults, AFileThatCantBeOpenedOrReadEndsCleanly)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the calls are the system's own here";
    }
    const LogCapture log;
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.ini", "[a]\nx=1\n");
    Ini ini;
    VOFaultArm("VOOpenFile", 1, false);
    EXPECT_EQ(0, ini.OpenIniFile(strPath.c_str(), false));
    EXPECT_EQ((Texts{CheckLine("VO_PROCESS_ERROR", "pIniFile", "ZIniFile::OpenIniFile")}), log.Lines());
    VOFaultArm("read", 1, true);
    EXPECT_EQ(1, ini.OpenIniFile(strPath.c_str(), false));
    EXPECT_EQ(Texts{}, ini.Lines());
    VOFaultDisarm();
}

TEST(IniFaults, AttributesThatCantBeReadOrSetDoNotStopTheWriting)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the calls are the system's own here";
    }
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.ini", "[a]\n");
    for (const char* pszCall : {"GetFileAttributesA", "SetFileAttributesA"})
    {
        Ini ini("[b]\n");
        VOFaultArm(pszCall, 1, true);
        EXPECT_EQ(1, ini.WriteIniFile(strPath.c_str())) << pszCall;
        EXPECT_LT(0u, VOFaultFired()) << pszCall;
        VOFaultDisarm();
        EXPECT_EQ("[b]\r\n", TemporaryFiles::Read(strPath)) << pszCall;
    }
}
