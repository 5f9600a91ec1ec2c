#include "trace/conversation/conversation.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <nlohmann/json.hpp>

#include "trace/protocol/decoder.hpp"

namespace trace {

namespace {

constexpr std::size_t MOST_REMEMBERED = 64; // requests and answers, for what comes late or to others, too

// Standard requests and those of HID, and where they stand in a setup packet.
constexpr std::uint8_t GET_DESCRIPTOR = 0x06;
constexpr std::uint8_t DEVICE_DESCRIPTOR = 1;
constexpr std::uint8_t STRING_DESCRIPTOR = 3;
constexpr std::uint8_t SET_REPORT_TYPE = 0x21;
constexpr std::uint8_t SET_REPORT = 0x09;
constexpr std::uint8_t OUTPUT_REPORT = 2;
constexpr std::size_t DEVICE_DESCRIPTOR_SIZE = 18;

// Ends of a transfer that are no errors: it was taken back.
bool isCancelled(std::int32_t status)
{
    return status == -ENOENT || status == -ECONNRESET || status == IN_PROGRESS;
}

std::string asciiOf(Bytes utf16)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < utf16.size(); i += 2) {
        const bool plain = utf16[i + 1] == 0 && utf16[i] >= 0x20 && utf16[i] < 0x7F;
        text += plain ? static_cast<char>(utf16[i]) : '?';
    }
    return text;
}

std::string textMember(const nlohmann::json& json, const char* name)
{
    const auto member = json.find(name);
    return member != json.end() && member->is_string() ? member->get<std::string>() : std::string();
}

struct Said {
    std::string kind; // NOTE_OPEN and the like
    std::string serial;
    Note note;
};

// Nothing for what is no note of ours.
std::optional<Said> noteIn(Bytes data)
{
    const nlohmann::json json = nlohmann::json::parse(data.begin(), data.end(), nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    Said said{textMember(json, "note"), textMember(json, "serial"), {}};
    said.note.path = textMember(json, "path");
    said.note.program = textMember(json, "program");
    said.note.doing = textMember(json, "doing");
    said.note.error = textMember(json, "error");
    const auto process = json.find("process");
    said.note.process = process != json.end() && process->is_number_integer() ? process->get<std::int64_t>() : 0;
    return said;
}

} // namespace

const char* nameOf(EventKind kind)
{
    static constexpr const char* NAMES[] = {"exchange", "notification", "unanswered", "late", "unmatched",
                                            "torn",     "open",         "close",      "error"};
    return NAMES[static_cast<std::size_t>(kind)];
}

std::string Adapter::place() const
{
    return std::to_string(bus) + "-" + std::to_string(device);
}

// One device on the bus, which may or may not be an adapter.
class Conversation::Device {
public:
    Device(const Conversation& conversation, std::uint16_t bus, std::uint8_t device)
        : table_(conversation.table_), options_(conversation.options_), sink_(conversation.sink_), adapter_{bus, device,
                                                                                                            {},  {},
                                                                                                            {},  0}
    {
    }

    bool isAdapter() const { return known_ == Known::ADAPTER; }

    void take(const Record& record)
    {
        const UsbHeader& header = record.header;
        if (header.transfer == CONTROL) {
            takeControl(record);
        } else if (header.transfer == INTERRUPT && (header.endpoint & CONTROL_IN) != 0) {
            takeCompletion(record, false, "read", record.data);
        } else if (header.transfer == INTERRUPT && header.event == SUBMITTED) {
            takeReport(record, true, record.data);
        } else if (header.transfer == INTERRUPT) {
            takeCompletion(record, true, "write", {});
        }
    }

    void end()
    {
        for (auto& [key, session] : sessions_) {
            end(session);
        }
    }

private:
    // Descriptors and notes tell, or else what travels.
    enum class Known { NO, ADAPTER, OTHER };

    // What a process says and hears with one handle: each handle gets its own copy of what the adapter sends. A capture
    // of the kernel has one of everything, and so one session.
    struct Session {
        explicit Session(bool keepSegments) : out(keepSegments), in(keepSegments) {}

        FrameJoiner out;
        FrameJoiner in;
        std::int64_t lastHeard = 0; // moment of the last response
        std::deque<Frame> open{};   // requests, the oldest first
        std::deque<Frame> givenUp{};
        std::deque<Head> answered{}; // the last ones
    };

    // The recorder's transfers have the process in their numbers.
    Session& sessionOf(const Record& record)
    {
        const auto key = hasNotes_
                             ? std::pair(static_cast<std::uint32_t>(record.header.id >> 32), record.header.startFrame)
                             : std::pair(0u, 0);
        return sessions_.try_emplace(key, options_.keepSegments).first->second;
    }

    void end(Session& session)
    {
        for (const bool fromHost : {true, false}) {
            if (const auto torn = (fromHost ? session.out : session.in).end()) {
                tellTorn(fromHost, *torn);
            }
        }
        giveUp(session, session.open.size());
    }

    void takeControl(const Record& record)
    {
        const UsbHeader& header = record.header;
        if (header.event == SUBMITTED && record.hasSetup()) {
            std::copy(std::begin(header.setup), std::end(header.setup), setup_);
            if (setup_[0] == NOTE_TYPE && setup_[1] == NOTE_REQUEST) {
                takeNote(record);
            } else if (setup_[0] == SET_REPORT_TYPE && setup_[1] == SET_REPORT && setup_[3] == OUTPUT_REPORT) {
                takeReport(record, true, record.data); // of a device without an endpoint for them
            }
        } else if (header.event == COMPLETED && setup_[0] == CONTROL_IN && setup_[1] == GET_DESCRIPTOR) {
            takeDescriptor(setup_[3], setup_[2], record.data);
        }
    }

    void takeDescriptor(std::uint8_t type, std::uint8_t index, Bytes data)
    {
        if (type == DEVICE_DESCRIPTOR && data.size() >= DEVICE_DESCRIPTOR_SIZE) {
            const std::uint16_t vendor = static_cast<std::uint16_t>(data[8] | data[9] << 8);
            const std::uint16_t product = static_cast<std::uint16_t>(data[10] | data[11] << 8);
            const auto ours = std::ranges::find_if(table_.devices(), [&](const trace::Device& device) {
                return device.vendorId == vendor && device.productId == product;
            });
            known_ = ours != table_.devices().end() ? Known::ADAPTER : Known::OTHER;
            adapter_.reportSize = isAdapter() ? ours->reportSize : 0;
            std::copy_n(&data[14], std::size(strings_), strings_);
        } else if (type == STRING_DESCRIPTOR && index != 0 && data.size() > 2) {
            const auto string = std::ranges::find(strings_, index);
            if (string != std::end(strings_)) {
                std::string* const texts[] = {&adapter_.manufacturer, &adapter_.product, &adapter_.serial};
                *texts[string - std::begin(strings_)] = asciiOf(data.subspan(2));
            }
        }
    }

    void takeNote(const Record& record)
    {
        const auto said = noteIn(record.data);
        if (!said) {
            return;
        }
        known_ = Known::ADAPTER;
        hasNotes_ = true;
        if (!said->serial.empty()) {
            adapter_.serial = said->serial;
        }
        if (said->kind == NOTE_OPEN) {
            tell(EventKind::OPEN, record, said->note);
        } else if (said->kind == NOTE_ERROR) {
            tell(EventKind::ERROR, record, said->note);
        } else if (said->kind == NOTE_CLOSE) {
            end(sessionOf(record));
            tell(EventKind::CLOSE, record, said->note);
        }
    }

    void takeCompletion(const Record& record, bool fromHost, const char* doing, Bytes report)
    {
        const std::int32_t status = record.header.status;
        if (status == 0 && record.header.event == COMPLETED) {
            takeReport(record, fromHost, report);
        } else if (isAdapter() && status < 0 && !isCancelled(status) && status != failure_) {
            failure_ = status; // once, not for each transfer that was on its way
            const bool gone = status == -ESHUTDOWN || status == -ENODEV;
            Note note;
            note.lost = !fromHost && (gone || status == -EIO); // EIO is how a hidraw node says so
            note.doing = doing;
            note.error = gone ? "the adapter went away" : std::generic_category().message(-status);
            tell(EventKind::ERROR, record, note);
        }
    }

    void takeReport(const Record& record, bool fromHost, Bytes report)
    {
        if (report.empty() || !isOurs(report)) {
            return;
        }
        failure_ = 0;
        Session& session = sessionOf(record);
        FrameJoiner::Joined joined =
            (fromHost ? session.out : session.in).take(record.time, record.moment, report, record.cut);
        if (joined.torn) {
            tellTorn(fromHost, *joined.torn);
        }
        if (joined.whole) {
            fromHost ? takeRequest(session, std::move(*joined.whole)) : takeAnswer(session, *joined.whole);
        }
    }

    // A capture that began after the device was plugged in has no descriptors: then a report of an adapter's size that
    // begins a frame with a code that the table has is taken as one.
    bool isOurs(Bytes report)
    {
        if (known_ != Known::NO) {
            return known_ == Known::ADAPTER;
        }
        const bool fits = std::ranges::any_of(
            table_.devices(), [&](const trace::Device& device) { return device.reportSize == report.size(); });
        if (!fits || !isFirstSegment(report)) {
            return false;
        }
        const Head head = headOf(report.subspan(2));
        if (head.id == 0 ? table_.notification(head.code) != nullptr : table_.command(head.code) != nullptr) {
            known_ = Known::ADAPTER;
            adapter_.reportSize = report.size();
        }
        return isAdapter();
    }

    void takeRequest(Session& session, Frame frame)
    {
        if (!session.open.empty() &&
            frame.begin - std::max(session.lastHeard, session.open.front().begin) > options_.patience) {
            giveUp(session, session.open.size());
        }
        const Command* const command = table_.command(headOf(frame.bytes).code);
        if (command != nullptr && command->noResponse) {
            tell({EventKind::EXCHANGE, &adapter_, frame.time, frame.begin, &frame});
        } else {
            session.open.push_back(std::move(frame));
        }
    }

    void takeAnswer(Session& session, const Frame& frame)
    {
        const Head head = headOf(frame.bytes);
        if (head.id == 0) {
            tell({EventKind::NOTIFICATION, &adapter_, frame.time, frame.begin, nullptr, &frame});
            return;
        }
        const auto answers = [&](const Frame& request) { return isSame(headOf(request.bytes), head); };
        if (const auto request = std::ranges::find_if(session.open, answers); request != session.open.end()) {
            giveUp(session, static_cast<std::size_t>(request - session.open.begin()));
            const Frame& asked = session.open.front();
            tell({EventKind::EXCHANGE, &adapter_, asked.time, asked.begin, &asked, &frame});
            session.open.pop_front();
        } else if (const auto late = std::ranges::find_if(session.givenUp, answers); late != session.givenUp.end()) {
            tell({EventKind::LATE, &adapter_, late->time, late->begin, &*late, &frame});
            session.givenUp.erase(late);
        } else if (isForAnother(session, head)) {
            return;
        } else {
            tell({EventKind::UNMATCHED, &adapter_, frame.time, frame.begin, nullptr, &frame});
        }
        session.lastHeard = frame.end;
        remember(session.answered, head);
    }

    static bool isSame(const Head& one, const Head& other) { return one.id == other.id && one.code == other.code; }

    // Whether it answers, or answered a while ago, what was asked with another handle.
    bool isForAnother(const Session& session, const Head& head) const
    {
        const auto asked = [&](const Frame& request) { return isSame(headOf(request.bytes), head); };
        const auto heard = [&](const Head& answer) { return isSame(answer, head); };
        return std::ranges::any_of(sessions_, [&](const auto& entry) {
            const Session& other = entry.second;
            return &other != &session &&
                   (std::ranges::any_of(other.open, asked) || std::ranges::any_of(other.givenUp, asked) ||
                    std::ranges::any_of(other.answered, heard));
        });
    }

    // The oldest requests.
    void giveUp(Session& session, std::size_t count)
    {
        for (; count > 0; --count) {
            const Frame& request = session.open.front();
            tell({EventKind::UNANSWERED, &adapter_, request.time, request.begin, &request});
            remember(session.givenUp, std::move(session.open.front()));
            session.open.pop_front();
        }
    }

    template <typename Item>
    static void remember(std::deque<Item>& items, Item item)
    {
        items.push_back(std::move(item));
        if (items.size() > MOST_REMEMBERED) {
            items.pop_front();
        }
    }

    void tellTorn(bool fromHost, const Frame& frame)
    {
        tell({EventKind::TORN, &adapter_, frame.time, frame.begin, fromHost ? &frame : nullptr,
              fromHost ? nullptr : &frame});
    }

    void tell(EventKind kind, const Record& record, const Note& note)
    {
        tell({kind, &adapter_, record.time, record.moment, nullptr, nullptr, note});
    }
    void tell(const Event& event) { sink_(event); }

    const Table& table_;
    const Options& options_;
    const Sink& sink_;
    Adapter adapter_;
    Known known_ = Known::NO;
    std::uint8_t setup_[sizeof UsbHeader::setup]{}; // of the last control transfer
    std::uint8_t strings_[3]{}; // indices of the manufacturer's, the product's and the serial number's
    std::int32_t failure_ = 0;  // the last that was told
    bool hasNotes_ = false;
    std::map<std::pair<std::uint32_t, std::int32_t>, Session> sessions_; // by process id and handle
};

Conversation::Conversation(const Table& table, Options options, Sink sink)
    : table_(table), options_(options), sink_(std::move(sink))
{
}

Conversation::~Conversation() = default;

Conversation::Device& Conversation::deviceOf(const Record& record)
{
    const auto key = std::pair(record.header.bus, record.header.device);
    std::unique_ptr<Device>& device = devices_[key];
    if (!device) {
        device = std::make_unique<Device>(*this, key.first, key.second);
    }
    return *device;
}

void Conversation::take(const Record& record)
{
    deviceOf(record).take(record);
}

void Conversation::end()
{
    for (const auto& [place, device] : devices_) {
        device->end();
    }
}

bool Conversation::hasAdapters() const
{
    return std::ranges::any_of(devices_, [](const auto& entry) { return entry.second->isAdapter(); });
}

} // namespace trace
