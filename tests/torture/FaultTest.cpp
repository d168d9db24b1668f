// The fault library under a program that everybody has: cat.
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/e2e/Process.h"
#include "tests/torture/FaultPage.h"

namespace
{
struct Outcome {
    int status;
    std::string output, errors;
};

std::string Joined(Lines *lines)
{
    lines->WaitEnd(kPatience);
    std::string text;
    for (const std::string &line : lines->All()) text += line + "\n";
    return text;
}

class Fault : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_NE(nullptr, mkdtemp(folder_));
        pagePath_ = std::string(folder_) + "/page";
        textPath_ = std::string(folder_) + "/text";
        for (int i = 0; i < 2000; i++) text_ += "line " + std::to_string(i) + "\n";
        const int fd = open(textPath_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(static_cast<ssize_t>(text_.size()), write(fd, text_.data(), text_.size()));
        close(fd);
        const int page = open(pagePath_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(0, ftruncate(page, sizeof *page_));
        page_ = static_cast<FaultPage *>(mmap(nullptr, sizeof *page_, PROT_READ | PROT_WRITE, MAP_SHARED, page, 0));
        close(page);
        ASSERT_NE(MAP_FAILED, page_);
    }
    void TearDown() override
    {
        munmap(page_, sizeof *page_);
        unlink(pagePath_.c_str());
        unlink(textPath_.c_str());
        rmdir(folder_);
    }

    Outcome Run(const std::string &fault, std::vector<std::string> arguments)
    {
        const uint32_t off = page_->off;
        *page_ = {};
        page_->off = off;
        ProcessOptions options;
        options.arguments = std::move(arguments);
        options.environment = {
            {"LD_PRELOAD", FAULT_LIBRARY}, {"PLUG_FAULT", fault}, {"PLUG_FAULT_PAGE", pagePath_}, {"LC_ALL", "C"}};
        Process process(options);
        Lines output(process.Output()), errors(process.Errors());
        const int status = process.WaitExit(kPatience).value_or(-1);
        return {status, Joined(&output), Joined(&errors)};
    }
    Outcome Cat(const std::string &fault) { return Run(fault, {"/bin/cat", textPath_}); }

    char folder_[32] = "/tmp/fault-test-XXXXXX";
    std::string pagePath_, textPath_, text_;
    FaultPage *page_ = nullptr;
};

TEST_F(Fault, WithoutOneCallsAreCountedOnly)
{
    const Outcome outcome = Cat("");
    EXPECT_EQ(0, outcome.status);
    EXPECT_TRUE(text_ == outcome.output);
    EXPECT_EQ(1u, page_->loaded);
    EXPECT_EQ(2u, page_->calls[FAULT_read]); // the text and its end
    EXPECT_EQ(1u, page_->calls[FAULT_write]);
    EXPECT_EQ(0u, page_->calls[FAULT_send]);
    EXPECT_EQ(0u, page_->faults);
}

TEST_F(Fault, TheNthCallFailsAndThePageTellsWhichItWas)
{
    const Outcome first = Cat("read:1");
    EXPECT_EQ(1, first.status);
    EXPECT_EQ("", first.output);
    EXPECT_NE(std::string::npos, first.errors.find("Input/output error"));
    EXPECT_EQ(1u, page_->faults);
    EXPECT_STREQ("read", page_->first);
    EXPECT_NE(0u, page_->from);

    const Outcome second = Cat("read:2");
    EXPECT_EQ(1, second.status);
    EXPECT_TRUE(text_ == second.output);
}

TEST_F(Fault, ACallThatIsNotReachedHarmsNothing)
{
    EXPECT_EQ(0, Cat("read:3").status);
    EXPECT_EQ(0u, page_->faults);
}

TEST_F(Fault, WithAPlusAllFromTheNthOnFail)
{
    EXPECT_EQ(1, Run("open:2", {"/bin/cat", textPath_, textPath_, textPath_}).status);
    const uint32_t one = page_->faults;
    EXPECT_EQ(1, Run("open:2+", {"/bin/cat", textPath_, textPath_, textPath_}).status);
    EXPECT_EQ(1u, one);
    EXPECT_EQ(2u, page_->faults);
}

TEST_F(Fault, SwitchedOffNothingFailsAnyMore)
{
    page_->off = 1;
    EXPECT_EQ(0, Cat("read:1+").status);
    EXPECT_EQ(2u, page_->calls[FAULT_read]);
    EXPECT_EQ(0u, page_->faults);
}

TEST_F(Fault, ProgramsThatTheProcessStartsRunUndisturbed)
{
    const Outcome outcome = Run("read:1+", {"/bin/sh", "-c", "cat " + textPath_ + "; true"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_TRUE(text_ == outcome.output);
    EXPECT_EQ(0u, page_->calls[FAULT_read]);
}

TEST_F(Fault, AtRandomCallsAreInterruptedOrDoneInPartAndAgainTheSameForTheSameSeed)
{
    const Outcome outcome = Cat("random:7:500");
    EXPECT_EQ(0, outcome.status);
    EXPECT_TRUE(text_ == outcome.output); // of a program that knows what to do then
    const uint32_t faults = page_->faults, reads = page_->calls[FAULT_read];
    EXPECT_LT(0u, faults);
    EXPECT_TRUE(text_ == Cat("random:7:500").output);
    EXPECT_EQ(faults, page_->faults);
    EXPECT_EQ(reads, page_->calls[FAULT_read]);
}

TEST_F(Fault, MemoryRunsOutAndBlocksAreCounted)
{
    Cat("");
    EXPECT_LT(0u, page_->calls[FAULT_malloc]);
    EXPECT_LE(0, page_->blocks);
    EXPECT_NE(0, Run("malloc:1+", {"/bin/ls", folder_}).status);
    EXPECT_LT(0u, page_->faults);
}

TEST_F(Fault, WhatIsNoFaultEndsTheProgramWithAMessage)
{
    for (const char *wrong : {"read", "nothing:1", "read:", "read:0", "read:1x", "random:1", "random:1:1001"}) {
        const Outcome outcome = Cat(wrong);
        EXPECT_EQ(127, outcome.status) << wrong;
        EXPECT_EQ(0u, outcome.errors.find("fault: ")) << wrong;
    }
}
} // namespace
