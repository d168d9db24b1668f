// The queue of one router's questions, with a clock moved by hand.
#include <gtest/gtest.h>
#include <malloc.h>

#include "gateway/question/Questions.h"

using namespace gateway;
using std::chrono::seconds;

namespace
{
const Clock::time_point kStart{seconds(1000)};
constexpr size_t kMost = 4;

Asked Function(uint16_t number)
{
    Asked asked;
    asked.question.function = number;
    asked.limit = seconds(20);
    asked.answer = [](const Json &) {};
    return asked;
}

Asked Plugin(uint8_t dataType)
{
    Asked asked = Function(0);
    asked.plugin = true;
    asked.command.dataType = dataType;
    return asked;
}

TEST(Questions, RoutersThatWereAskedOnceKeepNoMemoryForIt)
{
    std::vector<Questions> routers(1000);
    const size_t before = mallinfo2().uordblks;
    for (Questions &questions : routers) {
        ASSERT_TRUE(questions.Add(Function(1), kMost));
        ASSERT_TRUE(questions.Replied(questions.Next(kStart)->tag, 1));
    }
    EXPECT_LT(mallinfo2().uordblks, before + routers.size()); // the heap itself keeps some pieces for the next use
}

TEST(Questions, OneIsUnderWayAndTheOthersWaitInTheirOrder)
{
    Questions questions;
    for (uint16_t function : {1, 2, 3}) ASSERT_TRUE(questions.Add(Function(function), kMost));
    for (uint16_t function : {1, 2, 3}) {
        const Asked *next = questions.Next(kStart);
        ASSERT_TRUE(next);
        EXPECT_EQ(function, next->question.function);
        const uint16_t tag = next->tag;
        EXPECT_FALSE(questions.Next(kStart));
        EXPECT_TRUE(questions.Replied(tag, function));
    }
    EXPECT_FALSE(questions.Next(kStart));
    EXPECT_EQ(0u, questions.Waiting());
}

TEST(Questions, BeyondItsRoomNoneIsTaken)
{
    Questions questions;
    for (size_t i = 0; i < kMost; i++) EXPECT_TRUE(questions.Add(Function(1), kMost));
    EXPECT_FALSE(questions.Add(Function(1), kMost));
}

TEST(Questions, AReplyBelongsToItsTagAndFunction)
{
    Questions questions;
    questions.Add(Function(1), kMost);
    const uint16_t tag = questions.Next(kStart)->tag;
    EXPECT_FALSE(questions.Replied(static_cast<uint16_t>(tag + 1), 1));
    EXPECT_FALSE(questions.Replied(tag, 2));
    EXPECT_TRUE(questions.Replied(tag, 1));
    EXPECT_FALSE(questions.Replied(tag, 1));
}

TEST(Questions, NoReplyIsTakenBeforeTheQuestionIsPut)
{
    Questions questions;
    questions.Add(Function(1), kMost);
    EXPECT_FALSE(questions.Replied(0, 1));
    EXPECT_FALSE(questions.Replied(1, 1));
}

TEST(Questions, TheTagIsNeverZero)
{
    Questions questions;
    for (int i = 0; i < 70000; i++) {
        questions.Add(Function(1), kMost);
        const uint16_t tag = questions.Next(kStart)->tag;
        ASSERT_NE(0, tag);
        ASSERT_TRUE(questions.Replied(tag, 1));
    }
}

TEST(Questions, TheLimitBeginsWhenTheRouterIsAsked)
{
    Questions questions;
    questions.Add(Function(1), kMost);
    questions.Add(Function(2), kMost);
    questions.Next(kStart);
    EXPECT_FALSE(questions.Expired(kStart + seconds(19)));
    const auto late = questions.Expired(kStart + seconds(20));
    ASSERT_TRUE(late);
    EXPECT_EQ(1, late->question.function);
    EXPECT_EQ(2, questions.Next(kStart + seconds(20))->question.function);
    EXPECT_FALSE(questions.Expired(kStart + seconds(39)));
    EXPECT_TRUE(questions.Expired(kStart + seconds(40)));
}

TEST(Questions, ALateReplyIsNotTheNextOnes)
{
    Questions questions;
    questions.Add(Function(1), kMost);
    questions.Add(Function(1), kMost);
    const uint16_t late = questions.Next(kStart)->tag;
    questions.Expired(kStart + seconds(20));
    const uint16_t next = questions.Next(kStart + seconds(20))->tag;
    EXPECT_FALSE(questions.Replied(late, 1));
    EXPECT_TRUE(questions.Replied(next, 1));
}

TEST(Questions, AnAnswerToACommandBelongsToItsDataType)
{
    Questions questions;
    questions.Add(Plugin(15), kMost);
    questions.Next(kStart);
    EXPECT_FALSE(questions.Answered(16));
    EXPECT_TRUE(questions.Answered(15));
    EXPECT_FALSE(questions.Answered(15));
}

TEST(Questions, ALateAnswerToACommandIsNotTheNextOnes)
{
    Questions questions;
    questions.Add(Plugin(15), kMost);
    questions.Add(Plugin(15), kMost);
    questions.Next(kStart);
    questions.Expired(kStart + seconds(20));
    questions.Next(kStart + seconds(20));
    EXPECT_FALSE(questions.Answered(15)); // of the first
    EXPECT_TRUE(questions.Answered(15));
}

TEST(Questions, AReplyToALaterFunctionShowsThatAnAnswerWillNotCome)
{
    Questions questions;
    questions.Add(Plugin(15), kMost);
    questions.Add(Function(1), kMost);
    questions.Add(Plugin(15), kMost);
    questions.Next(kStart);
    questions.Expired(kStart + seconds(20));
    const uint16_t tag = questions.Next(kStart + seconds(20))->tag;
    EXPECT_TRUE(questions.Replied(tag, 1));
    questions.Next(kStart + seconds(21));
    EXPECT_TRUE(questions.Answered(15));
}

TEST(Questions, WhatHasNoReplyIsDoneOnceItIsSent)
{
    Questions questions;
    Asked silent = Function(86);
    silent.question.answered = false;
    questions.Add(silent, kMost);
    questions.Add(Function(1), kMost);
    EXPECT_FALSE(questions.Sent());
    questions.Next(kStart);
    EXPECT_TRUE(questions.Sent());
    questions.Next(kStart);
    EXPECT_FALSE(questions.Sent());
}

TEST(Questions, TheEndGivesAllBack)
{
    Questions questions;
    questions.Add(Function(1), kMost);
    questions.Add(Plugin(15), kMost);
    questions.Next(kStart);
    EXPECT_EQ(2u, questions.Close().size());
    EXPECT_FALSE(questions.Next(kStart));
    EXPECT_FALSE(questions.Expired(kStart + seconds(100)));
    EXPECT_FALSE(questions.Answered(15));
}
} // namespace
