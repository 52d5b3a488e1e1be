// Function.h
//
// The delegates of the older interface: the library's own TFunction0 to TFunction5, named in the
// global namespace. They are the same templates, not copies, so a delegate made by older code is
// handed to the Tessaran:: classes as it is, and a program that also writes
// `using namespace Tessaran::Kerna` finds one entity under each name.
#ifndef KERNA_LEGACY_FUNCTION_H_
#define KERNA_LEGACY_FUNCTION_H_

#include "kerna/kerna3/Function.h"

using Tessaran::Kerna::TFunction0;
using Tessaran::Kerna::TFunction1;
using Tessaran::Kerna::TFunction2;
using Tessaran::Kerna::TFunction3;
using Tessaran::Kerna::TFunction4;
using Tessaran::Kerna::TFunction5;

#endif  // KERNA_LEGACY_FUNCTION_H_
