// Rendering for people.
#pragma once

#include <string>

#include "reader/node_view.h"

namespace lum
{

// A name or path on a terminal: what isn't valid text, and control characters, are escaped as base/text.h tells.
std::string ShownText(const VOWString& strText);

// The name, with "/" behind a folder's.
std::string ShownName(const NodeView& view);

// One line of a long listing: kind and attributes, size, time of the last write, type, name.
std::string LongLine(const NodeView& view);

// Everything about a node, a line each.
std::string Details(const NodeView& view);

}  // namespace lum
