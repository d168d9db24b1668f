#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

#include "gateway/Commands.h"
#include "gateway/Options.h"
#include "gateway/bus/Stored.h"
#include "gateway/directory/Directory.h"

namespace gateway
{
namespace
{
// The directory, read once, and written to.
class Writer
{
  public:
    explicit Writer(const BusOptions &options) : bus_(options), stored_(bus_, {})
    {
        bus_.EnsureBucket(kDevicesBucket, 0);
        ReadBucket(bus_, kDevicesBucket, [this](const Change &change) { directory_.Take(change); });
    }

    std::vector<Device> Sorted() const
    {
        std::vector<Device> devices = directory_.All();
        std::sort(devices.begin(), devices.end(),
                  [](const Device &one, const Device &other) { return one.serial < other.serial; });
        return devices;
    }

    // By its PIN or its serial number.
    Device Find(const std::string &name) const
    {
        std::optional<Device> device = directory_.FindSerial(name);
        if (!device) device = directory_.FindPin(PinKey(name));
        if (!device) throw std::runtime_error("the directory has no PIN and no serial number \"" + name + "\"");
        return *device;
    }

    void Put(const std::vector<Device> &devices)
    {
        for (const Device &device : devices) {
            const std::string problem = DeviceProblem(device);
            if (!problem.empty()) throw std::runtime_error(problem);
            const auto known = directory_.FindSerial(device.serial);
            if (known && known->pin != device.pin)
                throw std::runtime_error("the serial number " + device.serial + " belongs to the PIN " +
                                         PinForLog(known->pin));
        }
        for (const Device &device : devices) {
            WaitFor(kAtOnce);
            stored_.Put(kDevicesBucket, device.pin, DeviceText(device), context_, Counted());
        }
        Finish();
    }

    void Remove(const Device &device)
    {
        stored_.Delete(kDevicesBucket, device.pin, 0, context_, Counted());
        Finish();
    }

  private:
    static constexpr int kAtOnce = 500;

    Stored::Done Counted()
    {
        underWay_++;
        return [this](std::optional<uint64_t> sequence) {
            underWay_--;
            failed_ += !sequence;
        };
    }
    void WaitFor(int most)
    {
        while (underWay_ > most) context_.run_one_for(std::chrono::milliseconds(100));
    }
    void Finish()
    {
        WaitFor(0);
        if (failed_ > 0) throw std::runtime_error(std::to_string(failed_) + " entries could not be stored");
    }

    Bus bus_;
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> work_{context_.get_executor()};
    Directory directory_;
    int underWay_ = 0, failed_ = 0;
    Stored stored_; // last: its completions need what stands above
};

std::vector<Device> ReadFile(const std::string &name)
try {
    std::ifstream file(name);
    std::istream &input = name == "-" ? std::cin : file;
    const std::string text{std::istreambuf_iterator<char>(input), {}};
    if (!input) throw std::runtime_error("cannot be read");
    return ReadDevices(text);
} catch (const std::runtime_error &error) {
    throw std::runtime_error(name + ": " + error.what());
}

// The file has keys: for its owner only.
void WriteSecret(const std::string &file, const std::string &text)
{
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const bool written =
        fd >= 0 && fchmod(fd, 0600) == 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if ((fd >= 0 && close(fd) != 0) || !written) throw std::runtime_error(file + ": cannot be written");
}

// One line, without its key.
std::string DeviceLine(const Device &device)
{
    return device.serial + "\t" + device.pin + "\t" + (device.locked ? "locked" : "-") + "\t" + device.name + "\n";
}

std::string DeviceSheet(const Device &device, bool withKey)
{
    return "serial  " + device.serial + "\npin     " + device.pin + "\nkey     " + (withKey ? device.key : "(hidden)") +
           "\nname    " + device.name + "\nnotes   " + device.notes + "\nmodel   " + device.model + "\nlocked  " +
           (device.locked ? "yes" : "no") + "\n";
}
} // namespace

void AddDeviceCommands(CLI::App *app, const BusOptions &bus)
{
    CLI::App *const device = app->add_subcommand("device", "the directory of devices")->require_subcommand(1);
    struct Words {
        Device device;
        std::string name, file;
        bool withKey = false;
    };
    const auto words = std::make_shared<Words>();
    const auto whole = [&bus] { return std::make_unique<Writer>(bus); };

    CLI::App *const add = device->add_subcommand("add", "put a device into the directory, or change it");
    add->add_option("PIN", words->device.pin, "of which the first 12 characters count")->required();
    add->add_option("SERIAL", words->device.serial, "letters, digits, - and _")->required();
    add->add_option("--key", words->device.key, "its KEY; - reads a line of the standard input")->required();
    add->add_option("--name", words->device.name, "for people");
    add->add_option("--notes", words->device.notes, "for people, too");
    add->add_option("--model", words->device.model, "of the router");
    add->add_flag("--locked", words->device.locked, "refuse it for now");
    add->callback([=] {
        if (words->device.key == "-") std::getline(std::cin, words->device.key);
        words->device.pin = PinKey(words->device.pin);
        whole()->Put({words->device});
    });

    CLI::App *const list = device->add_subcommand("list", "all devices: serial number, PIN, locked, name");
    list->callback([=] {
        for (const Device &each : whole()->Sorted()) Print(DeviceLine(each));
    });

    CLI::App *const show = device->add_subcommand("show", "one device");
    show->add_option("DEVICE", words->name, "its PIN or serial number")->required();
    show->add_flag("--with-key", words->withKey, "its KEY, too");
    show->callback([=] { Print(DeviceSheet(whole()->Find(words->name), words->withKey)); });

    CLI::App *const remove = device->add_subcommand("remove", "take a device out of the directory");
    remove->add_option("DEVICE", words->name, "its PIN or serial number")->required();
    remove->callback([=] {
        const auto writer = whole();
        writer->Remove(writer->Find(words->name));
    });

    for (const bool locked : {true, false}) {
        CLI::App *const lock =
            device->add_subcommand(locked ? "lock" : "unlock", locked ? "refuse a device, and end its session"
                                                                      : "let a device that is locked in again");
        lock->add_option("DEVICE", words->name, "its PIN or serial number")->required();
        lock->callback([=] {
            const auto writer = whole();
            Device changed = writer->Find(words->name);
            changed.locked = locked;
            writer->Put({changed});
        });
    }

    CLI::App *const imported = device->add_subcommand("import", "put all devices of a CSV file into the directory");
    imported
        ->add_option("FILE", words->file,
                     "with the columns pin, key, serial, name, notes, model, locked; - for the input")
        ->required();
    imported->callback([=] {
        const std::vector<Device> devices = ReadFile(words->file);
        whole()->Put(devices);
        Print(std::to_string(devices.size()) + " devices\n");
    });

    CLI::App *const exported = device->add_subcommand("export", "write all devices, with their keys, as CSV");
    exported->add_option("FILE", words->file, "where to; only its owner can read it. Without: the output");
    exported->callback([=] {
        const std::string text = DevicesText(whole()->Sorted());
        if (words->file.empty() || words->file == "-")
            Print(text);
        else
            WriteSecret(words->file, text);
    });
}

} // namespace gateway
