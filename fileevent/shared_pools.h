// String sets that several containers own together. A container and its copies refer to one set, and the last of them
// to go takes it along.
#pragma once

class VOStringHashSet;

// One owner more; gives the set back. A null pointer stays one.
VOStringHashSet* VOSharePool(VOStringHashSet* pStringSet);

// One owner less; the last one deletes the set.
void VOReleasePool(VOStringHashSet* pStringSet);
