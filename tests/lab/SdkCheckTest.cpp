// plug-sdk-check on the router: the library for Linux keeps the contract, and each setting can be put back.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "sdk/check/Setters.h"
#include "tests/lab/Lab.h"

namespace
{
// What the router's maker would write: services that keep in files what they are told.
constexpr char kService[] = "/run/lab/service";
const char kServiceText[] = "#!/bin/sh\n"
                            "kept=/run/lab/service.$1.$3\n"
                            "case \"$2 $3\" in\n"
                            "'get switch') cat $kept 2>/dev/null || echo off ;;\n"
                            "get*) cat $kept 2>/dev/null || echo $3 ;;\n"
                            "set*) cat >$kept ;;\n"
                            "esac\n";
// These need hostapd: tests/lab/WifiTest.cpp.
const char *const kWifiSetters[] = {"set_ssid_cfg", "set_ssid_switch", "set_wifi_radio_switch", "set_wps_switch"};
// Settings, rules and limits that are in force. The counters of packets go on.
const char kLook[] = "cd /run/lab; grep . router.state service.* resolvers; nft -s list ruleset; tc qdisc show;"
                     " tc class show dev br-lan; tc class show dev wan";

class SdkCheck : public testing::Test
{
  protected:
    SdkCheck()
    {
        WriteFile(kService, kServiceText);
        chmod(kService, 0755);
        WriteFile("/run/lab/resolvers", "nameserver 192.0.2.1\nnameserver 192.0.2.2\n");
        std::string commands = "[commands]\n";
        for (const char *name : {"led", "ftp", "samba", "telnet"})
            commands += std::string(name) + " = " + kService + " " + name + "\n";
        WriteFile(kRouterConfig, ReadFile(kRouterConfig) + "[wan]\ndns_file = /run/lab/resolvers\n" + commands);
        lab_.Join(1, "laptop");
    }
    std::string Check(const std::string &options) const
    {
        return lab_.Shell("router", std::string("PLUG_ROUTER_CONF=") + kRouterConfig + " " + SDK_CHECK_PROGRAM + " " +
                                        options + " " LINUX_ROUTER_FOLDER "/libRouterSdk.so.1 2>&1 || true");
    }
    // The line of a function.
    static std::string Row(const std::string &output, const std::string &name)
    {
        const size_t begin = output.find("\n" + name + " ");
        if (begin == std::string::npos) return "";
        return output.substr(begin + 1, output.find('\n', begin + 1) - begin - 1);
    }
    Lab lab_;
};

TEST_F(SdkCheck, TheLibraryForLinuxKeepsTheContract)
{
    const std::string output = Check("");
    EXPECT_TRUE(Contains(output, " 0 WRONG\n")) << output;
    for (const char *name : {"get_devs_cfg", "get_dev_cfg", "get_wans_cfg", "get_lan_port_up_flow", "get_dns"})
        EXPECT_TRUE(Contains(Row(output, name), " 0 ")) << output;
}

TEST_F(SdkCheck, EverySetterOfTheLibraryForLinuxIsPutBack)
{
    Check("--write"); // from now on there is a file of each setting
    const std::string before = lab_.Shell("router", kLook);
    const std::string output = Check("--write");
    EXPECT_TRUE(Contains(output, " 0 WRONG\n")) << output;
    EXPECT_EQ(before, lab_.Shell("router", kLook));
    int answered = 0;
    for (const check::Setter &setter : check::Setters()) {
        bool wifi = false;
        for (const char *name : kWifiSetters) wifi = wifi || setter.name == std::string(name);
        const std::string row = Row(output, setter.name);
        EXPECT_TRUE(Contains(row, wifi ? "not called" : " 0 ")) << output;
        answered += !wifi;
    }
    EXPECT_EQ(16, answered);
}
} // namespace
