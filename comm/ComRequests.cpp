#include "comm/ComRequests.h"

int ComF_send_pluginstate()
{
    return 1;
}

int ComF_get_autoreport_conf()
{
    return 1;
}

void ComF_send_calibration() {}
