// CodecBench.cpp - the cost of building and parsing a frame, besides the encryption itself.
//
// Raw: AES_cbc_encrypt over the same number of bytes, with a key set before. Build and parse: everything between a
// payload of 8,000 bytes and a frame, key set-up included. Takes the options of Google Benchmark.
#include <benchmark/benchmark.h>
#include <cstring>
#include <openssl/aes.h>

#include "Figures.h"
#include "Medians.h"
#include "platform/Crypt.h"
#include "platform/Frame.h"

static const size_t kPayload = 8000;
static const double kLeastOfRaw = 0.8;
static const char kKey[] = "0123456789abcdef";
static const uint8_t kHead[2] = {7, 0};

static uint8_t s_payload[kPayload];
static uint8_t s_record[kMaxFrame];
static uint8_t s_frame[kMaxFrame];
static const size_t kPadded = AesPaddedLength(5 + kPayload);

static size_t Build()
{
    const InnerRecord record = {13, nullptr, s_payload, kPayload};
    const size_t plainLen = InnerRecordWrite(record, s_record, sizeof s_record);
    const uint16_t bodyLen = static_cast<uint16_t>(AesPaddedLength(plainLen));
    const FrameHeader header = {MSG_ACK, FLAG_ACK, sizeof kHead,
                                FrameChecksum(bodyLen, kHead, sizeof kHead, s_record, plainLen), bodyLen};
    size_t cipherLen;
    if (aes_encrypt(kKey, s_record, s_record, plainLen, &cipherLen) != 0) return 0;
    return FrameWrite(header, kHead, s_record, s_frame, sizeof s_frame);
}

static bool Parse(const uint8_t *frame, size_t size)
{
    FrameHeader header;
    if (!FrameReadHeader(frame, size, &header)) return false;
    const uint8_t *head = frame + kFrameHeaderSize;
    size_t plainLen;
    if (aes_decrypt(kKey, head + header.headLen, s_record, header.bodyLen, &plainLen) != 0) return false;
    const size_t padding = s_record[plainLen - 1];
    if (FrameChecksum(header.bodyLen, head, header.headLen, s_record, plainLen - padding) != header.checksum)
        return false;
    InnerRecord record;
    return InnerRecordRead(s_record, plainLen, false, &record) && record.payloadLen == kPayload;
}

static void RawEncrypt(benchmark::State &state)
{
    AES_KEY key;
    AES_set_encrypt_key(reinterpret_cast<const uint8_t *>(kKey), 128, &key);
    for (auto _ : state) {
        uint8_t vector[kAesBlock] = {};
        AES_cbc_encrypt(s_record, s_record, kPadded, &key, vector, AES_ENCRYPT);
        benchmark::ClobberMemory();
    }
}

static void RawDecrypt(benchmark::State &state)
{
    AES_KEY key;
    AES_set_decrypt_key(reinterpret_cast<const uint8_t *>(kKey), 128, &key);
    for (auto _ : state) {
        uint8_t vector[kAesBlock] = {};
        AES_cbc_encrypt(s_frame, s_record, kPadded, &key, vector, AES_DECRYPT);
        benchmark::ClobberMemory();
    }
}

static void BuildFrame(benchmark::State &state)
{
    for (auto _ : state)
        if (Build() != kFrameHeaderSize + sizeof kHead + kPadded) state.SkipWithError("not built");
}

static void ParseFrame(benchmark::State &state)
{
    const size_t length = Build();
    for (auto _ : state)
        if (!Parse(s_frame, length)) state.SkipWithError("not read");
}

static void CheckSum(benchmark::State &state)
{
    for (auto _ : state) benchmark::DoNotOptimize(GetCheckSum(s_payload, kPayload));
}

BENCHMARK(RawEncrypt);
BENCHMARK(BuildFrame);
BENCHMARK(RawDecrypt);
BENCHMARK(ParseFrame);
BENCHMARK(CheckSum);

int main(int argc, char *argv[])
{
    if (!InitializeForMedians(argc, argv)) return 2;
    for (size_t i = 0; i < kPayload; i++) s_payload[i] = static_cast<uint8_t>(i * 31);

    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double raw = reporter.Median("RawEncrypt") + reporter.Median("RawDecrypt");
    const double ours = reporter.Median("BuildFrame") + reporter.Median("ParseFrame");
    if (!(raw > 0) || !(ours > 0)) return 1;
    const double encrypt = reporter.Median("RawEncrypt") / reporter.Median("BuildFrame");
    const double decrypt = reporter.Median("RawDecrypt") / reporter.Median("ParseFrame");
    PrintFigure("frame build and parse, 8,000-byte payload, of raw AES throughput", "at least 80 %",
                Format("%.0f %% (build %.0f %%, parse %.0f %%)", 100 * raw / ours, 100 * encrypt, 100 * decrypt),
                encrypt >= kLeastOfRaw && decrypt >= kLeastOfRaw);
    return 0;
}
