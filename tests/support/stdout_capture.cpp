#include "support/stdout_capture.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>

namespace votest
{
StdoutCapture::StdoutCapture() : m_bFailedBefore(testing::Test::HasFailure())
{
    fflush(stdout);
    testing::internal::CaptureStdout();
}

StdoutCapture::~StdoutCapture()
{
    Text();
    if (!m_bFailedBefore && testing::Test::HasFailure())
    {
        fputs(m_strText.c_str(), stdout);
    }
}

const std::string& StdoutCapture::Text()
{
    if (m_bCapturing)
    {
        m_bCapturing = false;
        fflush(stdout);
        m_strText = testing::internal::GetCapturedStdout();
        m_strText.erase(std::remove(m_strText.begin(), m_strText.end(), '\r'), m_strText.end());
    }
    return m_strText;
}
}  // namespace votest
