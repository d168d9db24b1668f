// Devices: what may be one, and its forms.
#include <gtest/gtest.h>

#include "gateway/directory/Device.h"
#include "gateway/directory/Directory.h"

using namespace gateway;

namespace
{
Device Sample()
{
    return {"123456789012", "0123456789abcdef", "R-1_a", "kitchen, left", "say \"x\"", "AX-1", false};
}

bool operator==(const Device &one, const Device &other)
{
    return one.pin == other.pin && one.key == other.key && one.serial == other.serial && one.name == other.name &&
           one.notes == other.notes && one.model == other.model && one.locked == other.locked;
}

std::string ImportError(const std::string &csv)
{
    try {
        ReadDevices(csv);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "no error";
}

Change Entry(const Device &device)
{
    return {device.pin, DeviceText(device), 1};
}

TEST(Device, ASerialNumberIsATokenOfSubjects)
{
    Device device = Sample();
    EXPECT_EQ("", DeviceProblem(device));
    for (const char *serial : {"", "a.b", "*", ">", "a b", "a/b", "caf\xc3\xa9", "all"}) {
        device.serial = serial;
        EXPECT_NE("", DeviceProblem(device)) << serial;
    }
    device.serial = std::string(63, 'x');
    EXPECT_EQ("", DeviceProblem(device));
    device.serial += 'x';
    EXPECT_NE("", DeviceProblem(device));
}

TEST(Device, APinIsATokenOfAtMostTwelveCharacters)
{
    Device device = Sample();
    for (const char *pin : {"", "1234567890123", "12 34", "12.34"}) {
        device.pin = pin;
        EXPECT_NE("", DeviceProblem(device)) << pin;
    }
    EXPECT_EQ("123456789012", PinKey("1234567890123"));
}

TEST(Device, ALogHasOnlyTheBeginningOfAPin)
{
    EXPECT_EQ("1234...", PinForLog("123456789012"));
}

TEST(Device, ItsEntryIsReadAgain)
{
    Device device = Sample();
    EXPECT_TRUE(device == ReadDevice(device.pin, DeviceText(device)).value_or(Device()));
    device.locked = true;
    EXPECT_TRUE(device == ReadDevice(device.pin, DeviceText(device)).value_or(Device()));
}

TEST(Device, AnEntryThatIsNoneIsRefused)
{
    for (const char *text : {"", "[]", "{", "{\"key\":1,\"serial\":\"a\"}", "{\"key\":\"k\",\"serial\":\"a.b\"}"})
        EXPECT_FALSE(ReadDevice("1234", text)) << text;
}

TEST(Device, WhatIsNotUnderstoodAsUnlockedIsLocked)
{
    EXPECT_FALSE(ReadDevice("1", R"({"key":"k","serial":"a"})")->locked);
    EXPECT_FALSE(ReadDevice("1", R"({"key":"k","serial":"a","locked":false})")->locked);
    EXPECT_TRUE(ReadDevice("1", R"({"key":"k","serial":"a","locked":"no"})")->locked);
}

TEST(Device, MayHaveASessionUnlessItIsLockedOrRemovedOrHasAnotherKey)
{
    Device device = Sample();
    const std::string key = device.key;
    EXPECT_EQ("", WhyBarred(device, key));
    device.key += "x";
    EXPECT_EQ("new_key", WhyBarred(device, key));
    device.locked = true;
    EXPECT_EQ("locked", WhyBarred(device, key));
    EXPECT_EQ("removed", WhyBarred(std::nullopt, key));
}

TEST(Device, AnExportIsImportedAgain)
{
    std::vector<Device> devices = {Sample(), {"2", "key", "R2", "", "two\nlines", "", true}};
    const std::vector<Device> again = ReadDevices(DevicesText(devices));
    ASSERT_EQ(2u, again.size());
    EXPECT_TRUE(devices[0] == again[0]);
    EXPECT_TRUE(devices[1] == again[1]);
}

TEST(Device, ColumnsStandInAnyOrderAndSomeMayBeMissing)
{
    const auto devices = ReadDevices("serial,key,pin\nR1,k,1234567890123\n");
    ASSERT_EQ(1u, devices.size());
    EXPECT_EQ("R1", devices[0].serial);
    EXPECT_EQ("123456789012", devices[0].pin);
}

TEST(Device, AnErrorOfAnImportNamesItsLine)
{
    EXPECT_EQ("the file is empty", ImportError(""));
    EXPECT_EQ("line 1: there is no column \"color\"", ImportError("pin,key,serial,color\n"));
    EXPECT_EQ("line 1: the column \"key\" is missing", ImportError("pin,serial\n"));
    EXPECT_EQ("line 3: 2 fields instead of 3", ImportError("pin,key,serial\n1,k,a\n2,k\n"));
    EXPECT_EQ("line 3: the PIN stands on line 2, too", ImportError("pin,key,serial\n1,k,a\n1,k,b\n"));
    EXPECT_EQ("line 3: the serial number stands on line 2, too", ImportError("pin,key,serial\n1,k,a\n2,k,a\n"));
    EXPECT_EQ("line 2: locked is yes or no", ImportError("pin,key,serial,locked\n1,k,a,true\n"));
    EXPECT_EQ("line 2: the key is missing", ImportError("pin,key,serial\n1,,a\n"));
}

TEST(Directory, FindsByPinAndBySerialNumber)
{
    Directory directory;
    directory.Take(Entry(Sample()));
    EXPECT_EQ("R-1_a", directory.FindPin("123456789012")->serial);
    EXPECT_EQ("123456789012", directory.FindSerial("R-1_a")->pin);
    EXPECT_FALSE(directory.FindPin("1"));
    EXPECT_EQ(1u, directory.Size());
}

TEST(Directory, AChangedDeviceIsFoundByItsNewSerialNumberOnly)
{
    Directory directory;
    Device device = Sample();
    directory.Take(Entry(device));
    device.serial = "R2";
    directory.Take(Entry(device));
    EXPECT_FALSE(directory.FindSerial("R-1_a"));
    EXPECT_TRUE(directory.FindSerial("R2"));
    directory.Take({device.pin, std::nullopt, 0});
    EXPECT_FALSE(directory.FindSerial("R2"));
    EXPECT_EQ(0u, directory.Size());
}

TEST(Directory, ASerialNumberThatHasMovedStaysWithItsNewPin)
{
    Directory directory;
    directory.Take(Entry({"1", "k", "R1", "", "", "", false}));
    directory.Take(Entry({"2", "k", "R1", "", "", "", false}));
    directory.Take({"1", std::nullopt, 0});
    EXPECT_EQ("2", directory.FindSerial("R1")->pin);
}

TEST(Directory, AnEntryThatIsNoDeviceTakesTheOldOneAway)
{
    Directory directory;
    directory.Take(Entry(Sample()));
    directory.Take({Sample().pin, "nonsense", 2});
    EXPECT_FALSE(directory.FindPin(Sample().pin));
}
} // namespace
