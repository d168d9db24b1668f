/* Devices.c - the device table; the agent calls these one at a time, with a lock held: answer from memory. RouterSdk.h says what each has to do; here is what to mind. */
#include "Template.h"

/* `count` is the true number, but write at most 129 records. */
int get_devs_cfg(DevCfg *d, uint16_t *count)
{
    (void)d;
    (void)count;
    return NOT_YET;
}

/* Refuse a MAC that you do not know, and then leave the record alone. */
int get_dev_cfg(DevCfg *d, const uint8_t mac[6])
{
    (void)d;
    (void)mac;
    return NOT_YET;
}

/* The record is one that you gave away, with `access` and `changed` altered. */
int set_dev_access_control(DevCfg d)
{
    (void)d;
    return NOT_YET;
}

/* At most 63 bytes. Refuse a MAC that you do not know. */
int get_dev_name(const uint8_t mac[6], char name[64])
{
    (void)mac;
    (void)name;
    return NOT_YET;
}

/* Refuse more than 63 bytes. */
int set_dev_name(const uint8_t mac[6], const char *name)
{
    (void)mac;
    (void)name;
    return NOT_YET;
}

/* A figure, not a result: bytes per second that it sends; 0 for a MAC that you do not know. */
uint64_t get_dev_us_bw(const uint8_t mac[6])
{
    (void)mac;
    return 0;
}

/* What it receives. */
uint64_t get_dev_ds_bw(const uint8_t mac[6])
{
    (void)mac;
    return 0;
}

/* Bytes per second; 0 for no limit. */
int get_dev_us_max_bw(const uint8_t mac[6], int64_t *limit)
{
    (void)mac;
    (void)limit;
    return NOT_YET;
}

/* 0 takes the limit away. */
int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit)
{
    (void)mac;
    (void)limit;
    return NOT_YET;
}

/* The same for what it receives. */
int get_dev_ds_max_bw(const uint8_t mac[6], int64_t *limit)
{
    (void)mac;
    (void)limit;
    return NOT_YET;
}

/* 0 takes the limit away. */
int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit)
{
    (void)mac;
    (void)limit;
    return NOT_YET;
}

/* Mbit/s of its link. Refuse a `which` above 2. */
int get_dev_speed(const uint8_t mac[6], uint16_t which, uint16_t *mbps)
{
    (void)mac;
    (void)which;
    (void)mbps;
    return NOT_YET;
}

/* Write at most 100. */
int get_dev_black_list(uint8_t (*macs)[6], uint16_t *count)
{
    (void)macs;
    (void)count;
    return NOT_YET;
}
