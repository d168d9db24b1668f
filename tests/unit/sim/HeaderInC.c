/* Compiles only as long as the contract is plain C, asserts included. */
#include "sdk/RouterSdk.h"

int (*const sim_header_in_c_uses[])(uint8_t *) = {get_led_switch, get_wps_switch};
