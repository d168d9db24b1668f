// Manager.h - the local peer: connects to the agent's socket, answers requests, sends the frames of commands.
//
// Events: waiting, connected, disconnected, request, answered, sent, withheld, auto-report, bad-frame, stopped.
//
// State: one Manager object. Threads: the loop's.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/console/Journal.h"
#include "simulator/manager/LocalRequests.h"
#include "simulator/manager/LocalSender.h"
#include "simulator/manager/LocalSocket.h"
#include "simulator/manager/ManagerOptions.h"
#include "simulator/net/Connection.h"

namespace sim
{

class Manager
{
  public:
    Manager(const ManagerOptions &options, Loop *loop, Journal *journal);
    ~Manager();
    Manager(const Manager &) = delete;
    Manager &operator=(const Manager &) = delete;

    // Reads the files and starts to connect. Returns false with the reason.
    [[nodiscard]] bool Start(std::string *error);

    // Sends the frame of a command `count` times; `together`: in one write. Returns false with the reason.
    [[nodiscard]] bool Send(const Words &words, int64_t count, bool together, std::string *error);

    // Sends it after `delayMs`, and then `count` - 1 times more, `periodMs` apart; with `count` 0 without end. A turn
    // without a connection is skipped. Returns false with the reason.
    [[nodiscard]] bool Schedule(int64_t delayMs, int64_t periodMs, int64_t count, const Words &words,
                                std::string *error);
    // Drops all turns. Returns how many there were.
    size_t ClearTimetable();

    // Starts or stops the reports of the auto-report configuration.
    void Report(bool on);

    // Closes the connection and stays away for `awayMs`; negative: until Connect().
    void Disconnect(int64_t awayMs);
    void Connect();

    Household *House() { return &household_; }
    AutoReportKeeper *AutoReport() { return &autoReport_; }
    Faults *ActiveFaults() { return &faults_; }
    [[nodiscard]] Fields Status() const;
    [[nodiscard]] bool Busy() const; // something is still to be sent

    // Carries out a line of the household's file or a command about the household. Returns false with the reason;
    // `*known` tells whether it is such a command at all.
    [[nodiscard]] bool EditHousehold(const Words &words, bool *known, std::string *error);

  private:
    struct Turn {
        Words words;
        int64_t periodMs, left; // left 0: without end
        uint64_t timer;
    };
    bool LoadHousehold(std::string *error);
    void Connected(int fd);
    void Closed(const std::string &by, const std::string &reason);
    void Received(const uint8_t *data, size_t size);
    void Arrived(const LocalArrival &arrival);
    void Reply(const LocalFrame &request, const LocalExchange &exchange);
    void BadFrame(const std::string &reason, const Bytes &bytes);
    LocalDelivery Deliver(const LocalOutgoing &outgoing, const char *event, Fields more);
    void Dispatch(LocalDelivery delivery);
    void TakeTurn(uint64_t number);
    void ArmReports();
    void ReportDue(int type);

    ManagerOptions options_;
    Loop *loop_;
    Journal *journal_;
    Household household_;
    AutoReportKeeper autoReport_;
    Faults faults_;
    LocalSender sender_;
    LocalSocket socket_;
    LocalCutter cutter_;
    std::unique_ptr<Connection> connection_;
    unsigned connections_ = 0; // so far
    uint64_t framesIn_ = 0, framesOut_ = 0;
    std::map<uint64_t, Turn> turns_;
    uint64_t nextTurn_ = 1;
    bool reports_;
    double reportsSince_ = 0;
    std::vector<uint64_t> reportTimers_;
};

} // namespace sim
