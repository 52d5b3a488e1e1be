// kerna.h
//
// Umbrella header of the Tessaran:: interface of libkerna: includes every public header.
#ifndef KERNA_KERNA_H_
#define KERNA_KERNA_H_

#include "kerna/kerna3/FlexString.h"

#endif  // KERNA_KERNA_H_
