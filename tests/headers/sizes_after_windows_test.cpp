// Included as a user does who never heard of the library's needs: all of the header, with its min and max macros.
#include <windows.h>

#include "vobase.h"

#include "headers/type_sizes.h"

TypeSizes SizesAfterTheSystemHeader()
{
    return VO_ALL_TYPE_SIZES;
}
