#include "trace/lines/described.hpp"

namespace trace {

namespace {

constexpr std::string_view UNKNOWN = "unknown";

void describeCommand(const Table& table, const Event& event, Described& described)
{
    if (event.request != nullptr) {
        described.code = headOf(event.request->bytes).code;
        described.meaning = decodeRequest(table, event.request->bytes, described.request);
    } else {
        described.code = headOf(event.response->bytes).code;
        described.meaning = meaningOf(table, *described.code);
    }
    if (event.response != nullptr) {
        if (event.response->bytes.size() >= RESPONSE_HEAD) {
            described.status = headOf(event.response->bytes).status;
        }
        decodeResponse(described.meaning, event.response->bytes,
                       event.request != nullptr ? &described.request : nullptr, described.response);
    }
    const bool known = described.meaning.known();
    described.family = known ? std::string_view(described.meaning.command->family) : UNKNOWN;
    described.command = known ? std::string_view(described.meaning.form->name) : UNKNOWN;
}

void describeNotification(const Table& table, const Event& event, Described& described)
{
    described.code = headOf(event.response->bytes).code;
    described.notification = decodeNotification(table, event.response->bytes, described.response);
    const bool known = described.notification != nullptr;
    described.family = known ? std::string_view(described.notification->family) : UNKNOWN;
    described.command = known ? std::string_view(described.notification->name) : UNKNOWN;
}

} // namespace

bool Described::failed() const
{
    switch (event->kind) {
    case EventKind::EXCHANGE:
        return event->response != nullptr && status != 0; // one too short for a status, too
    case EventKind::NOTIFICATION:
    case EventKind::OPEN:
    case EventKind::CLOSE:
        return false;
    default:
        return true;
    }
}

void describe(const Table& table, const Event& event, Described& described)
{
    described.event = &event;
    described.meaning = {};
    described.notification = nullptr;
    described.request.clear();
    described.response.clear();
    described.code = described.status = std::nullopt;
    described.family = described.command = {};
    switch (event.kind) {
    case EventKind::EXCHANGE:
    case EventKind::UNANSWERED:
    case EventKind::LATE:
    case EventKind::UNMATCHED:
        return describeCommand(table, event, described);
    case EventKind::NOTIFICATION:
        return describeNotification(table, event, described);
    default:
        return;
    }
}

} // namespace trace
