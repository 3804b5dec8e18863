// Section names of a run by hand stay apart from everything else on the machine; ctest chooses a name space itself.
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace
{
const int s_nChosen = setenv("VOBASE_NAMESPACE", ("mapping-tests-" + std::to_string(getpid())).c_str(), 0);
}
