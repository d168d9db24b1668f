// Frames.h - whole frames as they travel, under the key "0123456789abcdef". The cipher texts were made with the
// openssl program, the checksums added up by hand: nothing here comes from the code under test.
#pragma once

#include <gtest/gtest.h>

#include "protocol/Bytes.h"
#include "protocol/FrameCodec.h"
#include "protocol/Tree.h"
#include "tests/support/Bytes.h"
#include "tests/support/Texts.h"

constexpr char kKey[] = "0123456789abcdef";

// PIN "PIN4567890AB", serial "SN1", MAC 02:11:22:33:44:55.
constexpr char kRegisterFrame[] =
    "cc dd 29 0f e7 30 00"
    "00 00 00 50 49 4e 34 35 36 37 38 39 30 41 42"
    "0cc94176dc41402981c57c1de09e6509e77de85fee9105a8a8ee9155fbca9c28664ea724ac66cb56eb2d576fe3bc173a";
// Token "tok", login server 127.0.0.1:6040, plugin identifier "plugin-0001".
constexpr char kRegisterAckFrame[] =
    "cc dd 0b 00 4a 50 00"
    "de9b87989eba3b21acd18af3e87775de057bc4df7a271246ddb8dfa8f74952b49007cab1fde230f309734e6bebffc50d"
    "27429fb5dc461a91d344771ef8bbb076358a5280d8907dc2a0a9fea091ec7f22";
// The same PIN, token "tok", version 2.0.0.7.
constexpr char kLoginFrame[] = "cc dd 2a 2c 8f 20 00"
                               "50 49 4e 34 35 36 37 38 39 30 41 42"
                               "746f6b0000000000000000000000000000000000000000000000000000000000"
                               "0b9b15da4b44a0f5151dcfc4c01f35d56c712a1d1c3734b47edb5055f069966d";
// Interval 60.
constexpr char kLoginAckFrame[] = "cc dd 0b 00 4c 10 00 c4ae870dee5b9e73525bc2a85bd1d8e8";
// Time 1700000000.
constexpr char kHeartbeatFrame[] = "cc dd 21 04 a9 00 00 00 f1 53 65";
// DataType 13, {"MAC":"021122334455"}.
constexpr char kUploadFrame[] = "cc dd 31 00 2e 20 00 229376494d79bf1e820a79a359ab37e3bf2f4b2391cb93ebf73584023a39039a";
// DataType 13, {"result":0}, sequence 0.
constexpr char kUploadAckFrame[] =
    "cc dd 19 02 7e 20 00 00 00 0d53b19131f4eac6e2006ed08087d6a2970386cc550d31f503cebdb14ed24d1a";
// Tag 01 00, function 89, status 7, from MAC 02:11:22:33:44:55.
constexpr char kNotSupportedFrame[] =
    "cc dd 1a 02 e1 20 00 00 00 1b467d3e054eb6055862781f64b9ae7f68031fef450b6c8bf5e7f2b134719126";
// Tag 01 00, function 1, no parameters, to MAC 02:11:22:33:44:55.
constexpr char kVersionCommandFrame[] =
    "cc dd 14 00 2e 20 00 ce85872e6109a85ff3c4b4951dd99245dd722c67b31bb7ef63432685de6ffe74";
// An acknowledgement without a body: the checksum of a command was wrong.
constexpr char kChecksumWrongFrame[] = "cc dd 1a 02 0b 00 00 0b 00";
// DataType 13, {"result":0} under the key "another key 0000".
constexpr char kOtherKeyFrame[] =
    "cc dd 31 00 7e 20 00 e66a8c6a34d62ae521a450c7e11ddd0de86e582249f702fdd9c4f3a81531472a";

inline protocol::ParsedFrame FromAgent(const std::string &hex)
{
    return protocol::ParseFrame(Hex(hex), kKey, true);
}

// The value at a path, "(none)" when there is nothing.
inline std::string At(const protocol::Fields &fields, const std::string &path)
{
    const protocol::Field *field = protocol::FindField(fields, path);
    return field ? field->value : "(none)";
}
