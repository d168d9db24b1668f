/* Network.c - WAN and LAN. RouterSdk.h says what each has to do; here is what to mind. */
#include "Template.h"

/* At most 8. */
int get_wan_num(uint16_t *count)
{
    (void)count;
    return NOT_YET;
}

/* Refuse an index that there is not, and then leave the record alone. */
int get_wan_cfg(uint16_t index, WanCfg *w)
{
    (void)index;
    (void)w;
    return NOT_YET;
}

/* The same records, in the order of their indexes. Write at most 8. */
int get_wans_cfg(WanCfg *w, uint16_t *count)
{
    (void)w;
    (void)count;
    return NOT_YET;
}

/* On Linux: the connections of conntrack. */
int get_wan_tcp_con_num(uint16_t index, uint32_t *n)
{
    (void)index;
    (void)n;
    return NOT_YET;
}

/* The same for UDP. */
int get_wan_udp_con_num(uint16_t index, uint32_t *n)
{
    (void)index;
    (void)n;
    return NOT_YET;
}

/* On Linux: the statistics of the interface. 64 bits: keep your own sum where the kernel counts with 32. */
int get_wan_receive_bytes(uint16_t index, uint64_t *n)
{
    (void)index;
    (void)n;
    return NOT_YET;
}

/* One byte for each WAN, and no more than 16. */
int get_wan_con_status(uint8_t *status)
{
    (void)status;
    return NOT_YET;
}

/* In network order. 0 for none. */
int get_dns(uint32_t *primary, uint32_t *secondary)
{
    (void)primary;
    (void)secondary;
    return NOT_YET;
}

/* Keep them over a reboot. */
int set_dns(uint32_t primary, uint32_t secondary)
{
    (void)primary;
    (void)secondary;
    return NOT_YET;
}

/* The bridge of the household. */
int get_lan_cfg(LanCfg *l)
{
    (void)l;
    return NOT_YET;
}

/* At most 16. */
int get_lan_num(uint16_t *count)
{
    (void)count;
    return NOT_YET;
}

/* One byte for each port, and no more than 16. */
int get_lan_con_status(uint8_t *status)
{
    (void)status;
    return NOT_YET;
}

/* What came in at the port. Refuse a port that there is not. */
int get_lan_port_up_flow(uint16_t port, uint64_t *bytes)
{
    (void)port;
    (void)bytes;
    return NOT_YET;
}

/* What left through it. */
int get_lan_port_down_flow(uint16_t port, uint64_t *bytes)
{
    (void)port;
    (void)bytes;
    return NOT_YET;
}
