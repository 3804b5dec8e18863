// A folder of the test's own whose files are written, and named as events name them.
#pragma once

#include <fstream>
#include <string>

#include "tests/support/temporary_folder.h"

namespace monitortest
{

class TemporaryFolder : public votest::TemporaryFolder
{
public:
    // A path below it in the form that events have.
    std::string Shown(const std::string& strRelative) const { return Path().generic_string() + "/" + strRelative; }

    void Write(const std::string& strRelative, const std::string& strContent = "x") const
    {
        std::ofstream(Path() / strRelative, std::ios::binary) << strContent;
    }
};

}  // namespace monitortest
