/* Wireless.c - Wi-Fi. RouterSdk.h says what each has to do; here is what to mind. */
#include "Template.h"

/* All bands. Write at most 16 records, and terminate the texts. */
int get_wlans_cfg(SsidCfg *s, uint16_t *count)
{
    (void)s;
    (void)count;
    return NOT_YET;
}

/* Refuse an index that there is not, and then leave the record alone. */
int get_ssid_cfg(uint16_t index, SsidCfg *s)
{
    (void)index;
    (void)s;
    return NOT_YET;
}

/* The texts of this record may fill their fields without a NUL: copy them with strnlen(). */
int set_ssid_cfg(const SsidCfg *s)
{
    (void)s;
    return NOT_YET;
}

/* The same as `enabled` of the record. */
int get_ssid_switch(uint16_t index, uint8_t *on)
{
    (void)index;
    (void)on;
    return NOT_YET;
}

/* Answer before the radio is ready. */
int set_ssid_switch(uint16_t index, uint8_t on)
{
    (void)index;
    (void)on;
    return NOT_YET;
}

/* All radios together. */
int get_wifi_radio_switch(uint8_t *on)
{
    (void)on;
    return NOT_YET;
}

/* The SSIDs keep their own switches. */
int set_wifi_radio_switch(uint8_t on)
{
    (void)on;
    return NOT_YET;
}

/* Modules 0 to 3; refuse others. */
int get_wifi_module_status(uint16_t module, uint8_t *status)
{
    (void)module;
    (void)status;
    return NOT_YET;
}

/* WPS. */
int get_wps_switch(uint8_t *on)
{
    (void)on;
    return NOT_YET;
}

/* Keep it over a reboot. */
int set_wps_switch(uint8_t on)
{
    (void)on;
    return NOT_YET;
}

/* Answer with the last scan, and never wait for one. Write at most 30. */
int get_adj_wifi_devs(AdjWifi *a, uint16_t *count)
{
    (void)a;
    (void)count;
    return NOT_YET;
}
