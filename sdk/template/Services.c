/* Services.c - lights and services. RouterSdk.h says what each has to do; here is what to mind. */
#include "Template.h"

/* Whether the lights are on. */
int get_led_switch(uint8_t *on)
{
    (void)on;
    return NOT_YET;
}

/* Keep it over a reboot. */
int set_led_switch(uint8_t on)
{
    (void)on;
    return NOT_YET;
}

/* Whether the FTP server is on. */
int get_ftp_switch(uint8_t *on)
{
    (void)on;
    return NOT_YET;
}

/* Keep it over a reboot. */
int set_ftp_switch(uint8_t on)
{
    (void)on;
    return NOT_YET;
}

/* Whether the Samba server is on. */
int get_sambaenable_switch(uint8_t *on)
{
    (void)on;
    return NOT_YET;
}

/* Keep it over a reboot. */
int set_sambaenable_switch(uint8_t on)
{
    (void)on;
    return NOT_YET;
}

/* Whether the Telnet server is on. */
int get_telnetenable_switch(uint8_t *on)
{
    (void)on;
    return NOT_YET;
}

/* Keep it over a reboot. */
int set_telnetenable_switch(uint8_t on)
{
    (void)on;
    return NOT_YET;
}

/* The account of FTP; fill what it leaves of the 16 bytes with zeros. */
int get_ftp_user(char text[16])
{
    (void)text;
    return NOT_YET;
}

/* At most 16 characters; refuse more. */
int set_ftp_user(const char *text)
{
    (void)text;
    return NOT_YET;
}

/* Filled with zeros, too. */
int get_ftp_password(char text[16])
{
    (void)text;
    return NOT_YET;
}

/* At most 16 characters; refuse more. */
int set_ftp_password(const char *text)
{
    (void)text;
    return NOT_YET;
}

/* The account of Samba; fill what it leaves of the 16 bytes with zeros. */
int get_samba_user(char text[16])
{
    (void)text;
    return NOT_YET;
}

/* At most 16 characters; refuse more. */
int set_samba_user(const char *text)
{
    (void)text;
    return NOT_YET;
}

/* Filled with zeros, too. */
int get_samba_password(char text[16])
{
    (void)text;
    return NOT_YET;
}

/* At most 16 characters; refuse more. */
int set_samba_password(const char *text)
{
    (void)text;
    return NOT_YET;
}

/* The account of Telnet; fill what it leaves of the 16 bytes with zeros. */
int get_telnet_user(char text[16])
{
    (void)text;
    return NOT_YET;
}

/* At most 16 characters; refuse more. */
int set_telnet_user(const char *text)
{
    (void)text;
    return NOT_YET;
}

/* Filled with zeros, too. */
int get_telnet_password(char text[16])
{
    (void)text;
    return NOT_YET;
}

/* At most 16 characters; refuse more. */
int set_telnet_password(const char *text)
{
    (void)text;
    return NOT_YET;
}
