/*
 * Template.h - a router library to begin with: every function of the contract is there and answers NOT_YET, which the
 * agent passes on to the platform. Copy this folder, fill in one function after the other, and check the library with
 * plug-sdk-check. docs/porting.md has an order of work.
 */
#include "RouterSdk.h"

#if ROUTER_SDK_VERSION < 1
#error "this template needs a newer RouterSdk.h"
#endif

enum { NOT_YET = 1 }; /* any code but 0; yours may say more */
