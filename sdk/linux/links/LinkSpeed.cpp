#include "sdk/linux/links/LinkSpeed.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "sdk/linux/base/Texts.h"

// Not from /sys, which shows the interfaces of the namespace that it was mounted in.
uint16_t ReadLinkSpeed(const char *interface)
{
    const int file = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (file < 0) return 0;
    ifreq request = {};
    ethtool_cmd command = {};
    command.cmd = ETHTOOL_GSET;
    CopyText(request.ifr_name, sizeof request.ifr_name, interface);
    request.ifr_data = reinterpret_cast<char *>(&command);
    const int result = ioctl(file, SIOCETHTOOL, &request);
    close(file);
    const uint32_t speed = ethtool_cmd_speed(&command);
    return result == 0 && speed <= UINT16_MAX ? uint16_t(speed) : 0;
}
