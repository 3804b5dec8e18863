// What lum writes, in the fuzz targets: nowhere.
#include "base/console.h"

namespace lum
{

Output::~Output() = default;

void Output::Write(std::string_view) {}

bool Output::Flush()
{
    return !m_bFailed;
}

}  // namespace lum
