#ifndef VAMEL_PLATFORM_CFSTRING_H
#define VAMEL_PLATFORM_CFSTRING_H

#include "vamel/vamelcf.h"

/*
 * The number of string objects that are alive in the whole process. Not exported: tests that link
 * the objects directly use it to find leaks. Any thread may call it.
 */
long CFStringLiveCount();

#endif
