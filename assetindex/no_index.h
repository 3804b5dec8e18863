// The value of an id or an index that names nothing: no node, no record, no list.
#pragma once

constexpr unsigned int kNone = static_cast<unsigned int>(-1);
