// Cipher texts are those of "openssl enc -aes-128-cbc" with a vector of sixteen zero bytes.
#include "platform/Crypt.h"

#include <cstring>

#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{

const char kKey[] = "0123456789abcdef";

class Crypt : public AgentTest
{
  protected:
    void TearDown() override
    {
        FakeLibrariesReset();
        AgentTest::TearDown();
    }
};

Bytes Encrypt(const char *key, const std::string &plain)
{
    uint8_t out[64];
    memset(out, 0x77, sizeof out);
    size_t length = 0;
    EXPECT_EQ(0, aes_encrypt(key, reinterpret_cast<const uint8_t *>(plain.data()), out, plain.size(), &length));
    EXPECT_EQ(0x77, out[length]) << "wrote past the reported length";
    return Bytes(out, out + length);
}

} // namespace

TEST_F(Crypt, PaddedLengthIsTheNextMultipleOfSixteenAndAtLeastOneMore)
{
    EXPECT_EQ(16u, AesPaddedLength(0));
    EXPECT_EQ(16u, AesPaddedLength(15));
    EXPECT_EQ(32u, AesPaddedLength(16));
    EXPECT_EQ(32u, AesPaddedLength(31));
    EXPECT_EQ(48u, AesPaddedLength(32));
    EXPECT_EQ(8112u, AesPaddedLength(8111));
}

TEST_F(Crypt, FifteenBytesGetOneByteOfPadding)
{
    EXPECT_EQ(Hex("4e5b9be2b5b0408705bc2426436ace78"), Encrypt(kKey, "ABCDEFGHIJKLMNO"));
}

TEST_F(Crypt, SixteenBytesEncryptToThirtyTwo)
{
    EXPECT_EQ(Hex("f583a539eee9d7911f3c5d5dde7f554a 7264acf3e0cf0561f9df995f9e7b3a2a"),
              Encrypt(kKey, "ABCDEFGHIJKLMNOP"));
}

TEST_F(Crypt, BlocksAreChained)
{
    EXPECT_EQ(Hex("f583a539eee9d7911f3c5d5dde7f554a 1e1a31c5c48f6f509adabd2f91de3874"),
              Encrypt(kKey, "ABCDEFGHIJKLMNOPQ"));
}

TEST_F(Crypt, AnEmptyTextEncryptsToOneBlockOfPadding)
{
    EXPECT_EQ(Hex("377222e061a924c591cd9c27ea163ed4"), Encrypt(kKey, ""));
}

TEST_F(Crypt, EveryFrameStartsFromTheZeroVector)
{
    EXPECT_EQ(Encrypt(kKey, "ABCDEFGHIJKLMNO"), Encrypt(kKey, "ABCDEFGHIJKLMNO"));
}

TEST_F(Crypt, OnlyTheFirstSixteenBytesOfTheKeyCount)
{
    EXPECT_EQ(Hex("4e5b9be2b5b0408705bc2426436ace78"), Encrypt("0123456789abcdefIGNORED", "ABCDEFGHIJKLMNO"));
    EXPECT_EQ(Hex("4e5b9be2b5b0408705bc2426436ace78"), Encrypt("0123456789abcdef0123456789abcde", "ABCDEFGHIJKLMNO"));
}

TEST_F(Crypt, AShortKeyIsFilledUpWithZeroBytes)
{
    EXPECT_EQ(Hex("0b5ea6e2c002d5a0a49ad6a0605d78ff"), Encrypt("abc", "ABCDEFGHIJKLMNO"));
    EXPECT_EQ(Hex("0b5ea6e2c002d5a0a49ad6a0605d78ff"), Encrypt("abc\0what lay behind it", "ABCDEFGHIJKLMNO"));
    EXPECT_EQ(Hex("969efe0d94f2a96658fe7be266d62214"), Encrypt("", "ABCDEFGHIJKLMNO"));
}

TEST_F(Crypt, DecryptsWholeBlocksAndKeepsThePadding)
{
    const Bytes cipher = Hex("f583a539eee9d7911f3c5d5dde7f554a 1e1a31c5c48f6f509adabd2f91de3874");
    uint8_t out[33] = {};
    out[32] = 0x77;
    size_t length = 0;
    ASSERT_EQ(0, aes_decrypt(kKey, cipher.data(), out, cipher.size(), &length));
    EXPECT_EQ(32u, length);
    EXPECT_EQ(0, memcmp(out, "ABCDEFGHIJKLMNOPQ\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f\x0f", 32));
    EXPECT_EQ(0x77, out[32]);
}

TEST_F(Crypt, DecryptionIgnoresBytesAfterTheLastWholeBlock)
{
    const Bytes cipher = Hex("f583a539eee9d7911f3c5d5dde7f554a 1e1a31c5c48f6f509adabd2f91de3874");
    for (size_t size = 0; size < 32; size++) {
        uint8_t out[32];
        memset(out, 0x77, sizeof out);
        size_t length = 99;
        ASSERT_EQ(0, aes_decrypt(kKey, cipher.data(), out, size, &length));
        EXPECT_EQ(size < 16 ? 0u : 16u, length) << size;
        EXPECT_EQ(0x77, out[length]) << size;
    }
}

TEST_F(Crypt, InputAndOutputMayBeTheSameBuffer)
{
    uint8_t buffer[32] = {};
    memcpy(buffer, "ABCDEFGHIJKLMNOPQ", 17);
    size_t length = 0;
    ASSERT_EQ(0, aes_encrypt(kKey, buffer, buffer, 17, &length));
    EXPECT_EQ(Hex("f583a539eee9d7911f3c5d5dde7f554a 1e1a31c5c48f6f509adabd2f91de3874"), Bytes(buffer, buffer + 32));
    ASSERT_EQ(0, aes_decrypt(kKey, buffer, buffer, 32, &length));
    EXPECT_EQ(0, memcmp(buffer, "ABCDEFGHIJKLMNOPQ", 17));
}

TEST_F(Crypt, AKeyThatCannotBeSetForEncryptionIsLoggedAndWritesNothing)
{
    const uint8_t plain[4] = {};
    uint8_t out[16] = {0x77};
    size_t length = 99;
    FakeRefuseCipherKey();
    EXPECT_EQ(-1, aes_encrypt(kKey, plain, out, sizeof plain, &length));
    EXPECT_EQ(0x77, out[0]);
    EXPECT_EQ(99u, length);
    EXPECT_NE(std::string::npos, Log().find("]-> Unable to set encryption key in AES error !!!!!\n\n"));
}

TEST_F(Crypt, AKeyThatCannotBeSetForDecryptionIsLogged)
{
    const uint8_t cipher[16] = {};
    uint8_t out[16] = {0x77};
    size_t length = 99;
    FakeRefuseCipherKey();
    EXPECT_EQ(-1, aes_decrypt(kKey, cipher, out, sizeof cipher, &length));
    EXPECT_EQ(0x77, out[0]);
    EXPECT_NE(std::string::npos, Log().find("]-> Unable to set decryption key in AES error !!!!!\n\n"));
}
