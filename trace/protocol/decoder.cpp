#include "trace/protocol/decoder.hpp"

#include <algorithm>

namespace trace {

namespace {

std::uint16_t u16(Bytes frame, std::size_t at)
{
    return at + 2 <= frame.size() ? static_cast<std::uint16_t>(frame[at] | frame[at + 1] << 8) : std::uint16_t{0};
}

std::size_t widthOf(Type type)
{
    return type == Type::U8 ? 1 : type == Type::U32 ? 4 : 2;
}

bool isInteger(Type type)
{
    return type == Type::U8 || type == Type::U16 || type == Type::U32 || type == Type::U16_BIG_ENDIAN;
}

std::uint32_t integer(const Field& field, Bytes bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const std::size_t place = field.type == Type::U16_BIG_ENDIAN ? bytes.size() - 1 - i : i;
        value |= static_cast<std::uint32_t>(bytes[i]) << 8 * place;
    }
    const unsigned bits = field.lastBit - field.firstBit + 1;
    return bits >= 32 ? value : value >> field.firstBit & ((1U << bits) - 1);
}

// Goes over the fields of one frame.
class FieldReader {
public:
    FieldReader(Bytes frame, std::size_t head, const Values* request, Decoded& decoded)
        : frame_(frame), request_(request), decoded_(decoded), behind_(head), reach_(head)
    {
    }

    void read(const std::vector<Field>& fields)
    {
        for (const Field& field : fields) {
            if (holds(field.when)) {
                read(field);
            }
        }
    }

    bool holds(const std::vector<Condition>& conditions) const
    {
        return std::ranges::all_of(conditions, [&](const Condition& condition) {
            const Value* const value = find(condition.field);
            return value != nullptr && std::ranges::find(condition.values, value->number) != condition.values.end();
        });
    }

    // Whatever the fields did not reach.
    void end() { decoded_.extra = frame_.subspan(std::min(reach_, frame_.size())); }

private:
    const Value* find(const Reference& reference) const
    {
        const Values* const values = reference.inRequest ? request_ : &decoded_.values;
        return values == nullptr ? nullptr : findValue(*values, reference.name);
    }

    void read(const Field& field)
    {
        const std::size_t at = field.at.value_or(behind_);
        const Bytes there = frame_.subspan(std::min(at, frame_.size()));
        if (isInteger(field.type) && !field.count) {
            take(at, widthOf(field.type));
            if (there.size() >= widthOf(field.type)) {
                decoded_.values.push_back({&field, integer(field, there.first(widthOf(field.type)))});
            }
            return;
        }
        const std::size_t wanted = wantedBytes(field, there.size());
        take(at, field.type != Type::RECORDS && field.size != 0 ? field.size : wanted);
        if (at > frame_.size()) {
            return;
        }
        decoded_.values.push_back({&field, 0, there.first(std::min(wanted, there.size()))});
        const Value* const announced = field.announced ? find(*field.announced) : nullptr;
        if (announced != nullptr && announced->number != (wanted & 0xFFFF)) {
            decoded_.disagrees = true;
        }
    }

    // How many bytes belong to a field of no fixed width.
    std::size_t wantedBytes(const Field& field, std::size_t available)
    {
        const Value* const count = field.count ? find(*field.count) : nullptr;
        const std::size_t fixed = field.type == Type::RECORDS ? 0 : field.size;
        if (count == nullptr) {
            return fixed != 0 ? fixed : available;
        }
        const std::size_t times = field.type == Type::RECORDS ? field.size
                                  : isInteger(field.type)     ? widthOf(field.type)
                                                              : field.times;
        const std::size_t counted = (count->number - std::min(count->number, field.less)) * times;
        if (fixed != 0 && counted > fixed) {
            decoded_.disagrees = true;
            return fixed;
        }
        return counted;
    }

    void take(std::size_t at, std::size_t size)
    {
        behind_ = at + size;
        reach_ = std::max(reach_, behind_);
        if (behind_ > frame_.size()) {
            decoded_.missing = std::max(decoded_.missing, behind_ - frame_.size());
        }
    }

    const Bytes frame_;
    const Values* const request_;
    Decoded& decoded_;
    std::size_t behind_; // the field before
    std::size_t reach_;  // behind the furthest field
};

} // namespace

Head headOf(Bytes frame)
{
    return {u16(frame, 0), u16(frame, 2), u16(frame, 4)};
}

const Value* findValue(const Values& values, std::string_view name)
{
    const auto found = std::ranges::find_if(values, [&](const Value& value) { return value.field->name == name; });
    return found == values.end() ? nullptr : &*found;
}

void Decoded::clear()
{
    values.clear();
    missing = 0;
    extra = {};
    disagrees = false;
}

Meaning meaningOf(const Table& table, std::uint16_t code)
{
    const Command* const command = table.command(code);
    return {command, command == nullptr ? nullptr : &command->common};
}

Meaning decodeRequest(const Table& table, Bytes frame, Decoded& decoded)
{
    decoded.clear();
    Meaning meaning = meaningOf(table, headOf(frame).code);
    FieldReader reader(frame, REQUEST_HEAD, nullptr, decoded);
    if (meaning.known()) {
        reader.read(meaning.form->request);
        const auto& forms = meaning.command->forms;
        const auto form = std::ranges::find_if(forms, [&](const Form& one) { return reader.holds(one.when); });
        if (form != forms.end()) {
            meaning.form = &*form;
            reader.read(form->request);
        }
    }
    reader.end();
    return meaning;
}

// A response without success need not have more than its status.
void decodeResponse(const Meaning& meaning, Bytes frame, const Decoded* request, Decoded& decoded)
{
    decoded.clear();
    FieldReader reader(frame, RESPONSE_HEAD, request != nullptr ? &request->values : nullptr, decoded);
    if (meaning.known()) {
        reader.read(meaning.form->response);
    }
    reader.end();
    if (frame.size() < RESPONSE_HEAD) {
        decoded.missing = RESPONSE_HEAD - frame.size();
    } else if (headOf(frame).status != 0) {
        decoded.missing = 0;
    }
}

const Notification* decodeNotification(const Table& table, Bytes frame, Decoded& decoded)
{
    decoded.clear();
    const Notification* const notification = table.notification(headOf(frame).code);
    FieldReader reader(frame, RESPONSE_HEAD, nullptr, decoded);
    if (notification != nullptr) {
        reader.read(notification->fields);
    }
    reader.end();
    return notification;
}

void decodeRecord(const std::vector<Field>& fields, Bytes record, Decoded& decoded)
{
    decoded.clear();
    FieldReader(record, 0, nullptr, decoded).read(fields);
}

} // namespace trace
