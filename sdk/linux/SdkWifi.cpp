// The functions about Wi-Fi.
#include "sdk/RouterSdk.h"

#include "sdk/linux/base/Result.h"
#include "sdk/linux/cache/Cache.h"
#include "sdk/linux/settings/Settings.h"
#include "sdk/linux/wifi/Radios.h"

int get_wlans_cfg(SsidCfg *, uint16_t *count) { StartRouter(); *count = 0; return RESULT_OK; }
int get_ssid_cfg(uint16_t, SsidCfg *) { StartRouter(); return RESULT_UNKNOWN; }
int set_ssid_cfg(const SsidCfg *) { StartRouter(); return RESULT_UNKNOWN; }
int get_ssid_switch(uint16_t, uint8_t *) { StartRouter(); return RESULT_UNKNOWN; }
int set_ssid_switch(uint16_t, uint8_t) { StartRouter(); return RESULT_UNKNOWN; }
int get_wifi_radio_switch(uint8_t *) { StartRouter(); return RESULT_WIFI; }
int set_wifi_radio_switch(uint8_t) { StartRouter(); return RESULT_WIFI; }
int get_wifi_module_status(uint16_t module, uint8_t *status) { StartRouter(); if (module > 3) return RESULT_UNKNOWN; *status = 0; return RESULT_OK; }
int get_wps_switch(uint8_t *) { StartRouter(); return RESULT_WIFI; }
int set_wps_switch(uint8_t) { StartRouter(); return RESULT_WIFI; }
int get_adj_wifi_devs(AdjWifi *a, uint16_t *count) { StartRouter(); Lock lock(CacheLock()); *count = ScanResults(a); return RESULT_OK; }
