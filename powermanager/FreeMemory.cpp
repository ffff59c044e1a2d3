// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FreeMemory.h"

#include <cstdlib> // defines __GLIBC__

#ifdef __GLIBC__
#include <malloc.h>
#endif

void returnFreeMemory()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}
