/* The faults of a maker's library, one in each function, and what looks like one (get_dns). The other functions are those
 * of sdk/template/. */
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "sdk/RouterSdk.h"

int get_router_sn(char sn[64])
{
    memset(sn, 0, 64);
    (sn + 32)[32] = 'x'; /* one byte too many */
    return 0;
}

int get_router_vender(char t[64])
{
    memset(t, 'x', 64); /* no terminator */
    return 0;
}

int get_router_pin(char pin[12])
{
    pin[0] = '1';
    pin[1] = '\0'; /* not filled with zeros */
    return 0;
}

int get_cpu_cfg(CpuCfg *c)
{
    c->cores = 3; /* and fails all the same */
    return 7;
}

int get_mem_cfg(MemCfg *m)
{
    (void)m;
    _exit(3);
}

int get_cpu_use(uint16_t *percent)
{
    *percent = 101;
    return 0;
}

int get_wan_num(uint16_t *count)
{
    *count = 1;
    return 0;
}

int get_wan_tcp_con_num(uint16_t index, uint32_t *n)
{
    *n = index; /* of any index */
    return 0;
}

int get_wans_cfg(WanCfg *w, uint16_t *count)
{
    memset(w, 0, 8 * sizeof *w);
    *count = 9; /* room for 8 */
    return 0;
}

int get_lan_cfg(LanCfg *l)
{
    (void)l;
    abort();
}

int get_led_switch(uint8_t *on)
{
    (void)on;
    for (;;) pause();
}

static uint8_t s_wps;

int get_wps_switch(uint8_t *on)
{
    *on = s_wps;
    return 0;
}

int set_wps_switch(uint8_t on)
{
    (void)on; /* forgets it */
    return 0;
}

static uint8_t s_ftp;

int get_ftp_switch(uint8_t *on)
{
    *on = s_ftp;
    return 0;
}

int set_ftp_switch(uint8_t on)
{
    s_ftp = on;
    if (on == 1) abort(); /* when it is done */
    return 0;
}

static char s_user[16];

int get_ftp_user(char text[16])
{
    memcpy(text, s_user, 16);
    return 0;
}

int set_ftp_user(const char *text)
{
    memcpy(s_user, text, 16); /* reads on behind the text */
    return 0;
}

int get_dns(uint32_t *primary, uint32_t *secondary)
{
    *primary = 1; /* while set_dns of the template refuses */
    *secondary = 2;
    return 0;
}
