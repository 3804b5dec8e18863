// The log file writer: what the system's append mode promises on Linux.
#include <algorithm>
#include <thread>

#include "support/temporary_files.h"
#include "vo_log_output.h"

using namespace votest;

namespace
{
class BareWriter : public VOLogOutput
{
public:
    using VOLogOutput::m_szLogFile;
};
}  // namespace

TEST(LogOutputOnLinux, LinesOfManyThreadsAreAllThereAndWhole)
{
    const TemporaryFiles files;
    BareWriter writer;
    ASSERT_EQ(1, writer.Init(files.Path("logs").c_str()));
    const std::string strText(5000, 'x');
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThread.emplace_back(
            [&]
            {
                for (int i = 0; i < 50; ++i)
                {
                    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_INFO, (strText + "\n").c_str()));
                }
            });
    }
    for (std::thread& thread : vecThread)
    {
        thread.join();
    }
    std::string strPath = writer.m_szLogFile;
    std::replace(strPath.begin(), strPath.end(), '\\', '/');
    const std::string strBytes = TemporaryFiles::Read(strPath);
    const std::string strMark = ":[VOLOG-INFO]" + strText + "\n";
    constexpr size_t kStamp = 19;
    ASSERT_EQ(200 * (kStamp + strMark.size()), strBytes.size());
    for (size_t uAt = 0; uAt < strBytes.size(); uAt += kStamp + strMark.size())
    {
        ASSERT_EQ(strMark, strBytes.substr(uAt + kStamp, strMark.size()));
    }
}
