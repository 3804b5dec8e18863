// The runtime of Linux has no such handler.
#include "tests/platform/platform_test_support.h"

InvalidParameterHandler::InvalidParameterHandler() = default;

InvalidParameterHandler::~InvalidParameterHandler() = default;
