#include "agent/scenario/DocumentChannel.h"

#include "agent/base/Descriptor.h"
#include "agent/base/FileText.h"
#include "agent/scenario/Limits.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <sstream>
#include <system_error>

#include <unistd.h>

namespace UmoAgent {

namespace {

template <class Value>
std::string_view bytesOf(Value const *values, std::size_t count) {
    return {reinterpret_cast<char const *>(values), count * sizeof(Value)};
}

/// Makes room after the filled part in small steps, because touching new memory takes time.
template <class Elements>
void grow(Elements &elements, std::size_t filled, std::size_t all) {
    constexpr std::size_t kStep = 65536;
    if (elements.size() <= filled) {
        elements.resize(std::min(all, filled + kStep));
    }
}

void send(int channel, AnswerHeader const &header) {
    writeAll(channel, bytesOf(&header, 1));
}

/// The text of a file named at the console.
FileText regularText(std::string const &path) {
    std::error_code error;
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        return Unreadable{"expected a regular file"}; // a reader could wait for a pipe without end
    }
    return readFileText(path, Limits::kBytes);
}

void answer(int channel, std::string const &path) {
    ScenarioErrors errors(path);
    std::optional<Document> document;
    try {
        FileText const text = regularText(path);
        if (auto const *const unreadable = std::get_if<Unreadable>(&text)) {
            errors.add(Place{}, "cannot be read: " + unreadable->reason);
        } else {
            send(channel, {AnswerHeader::Kind::textIsRead});
            document = readDocument(std::get<std::string>(text), errors);
        }
    } catch (std::bad_alloc const &) {
        document.reset();
        errors.add(Place{}, "cannot be read: there is not enough memory");
    }
    if (document) {
        send(channel,
             {AnswerHeader::Kind::document, document->values.size(), document->texts.size()});
        writeAll(channel, bytesOf(document->values.data(), document->values.size()));
        writeAll(channel, document->texts);
        return;
    }
    std::string lines;
    for (std::string const &line : errors.lines()) {
        lines += line + '\n';
    }
    send(channel, {AnswerHeader::Kind::errors, 0, lines.size()});
    writeAll(channel, lines);
}

} // namespace

void answerReadRequests(int channel) {
    std::string path;
    for (char byte = 0;;) {
        ssize_t const got = read(channel, &byte, 1);
        if (got == 0 || (got < 0 && errno != EINTR)) {
            return;
        }
        if (got > 0 && byte != '\0') {
            path += byte;
        } else if (got > 0) {
            answer(channel, std::exchange(path, {}));
        }
    }
}

AnswerReader::Room AnswerReader::room() {
    if (headerFilled_ < sizeof header_) {
        return {reinterpret_cast<char *>(&header_) + headerFilled_, sizeof header_ - headerFilled_};
    }
    if (valuesFilled_ < header_.values * sizeof(Document::Value)) {
        grow(document_.values, valuesFilled_ / sizeof(Document::Value), header_.values);
        return {reinterpret_cast<char *>(document_.values.data()) + valuesFilled_,
                document_.values.size() * sizeof(Document::Value) - valuesFilled_};
    }
    grow(document_.texts, textsFilled_, header_.bytes);
    return {document_.texts.data() + textsFilled_, document_.texts.size() - textsFilled_};
}

void AnswerReader::filled(std::size_t size) {
    if (headerFilled_ < sizeof header_) {
        headerFilled_ += size;
        if (headerFilled_ == sizeof header_) {
            if (header_.kind == AnswerHeader::Kind::textIsRead) {
                textIsRead_ = true;
                headerFilled_ = 0;
                return;
            }
            document_.values.reserve(header_.values);
            document_.texts.reserve(header_.bytes);
        }
    } else if (valuesFilled_ < header_.values * sizeof(Document::Value)) {
        valuesFilled_ += size;
    } else {
        textsFilled_ += size;
    }
}

std::optional<std::variant<Document, ScenarioFaults>> AnswerReader::answer() {
    if (headerFilled_ < sizeof header_ || room().size > 0) {
        return std::nullopt;
    }
    if (header_.kind == AnswerHeader::Kind::document) {
        return std::move(document_);
    }
    ScenarioFaults faults;
    std::istringstream lines(document_.texts);
    for (std::string line; std::getline(lines, line);) {
        faults.push_back(line);
    }
    return faults;
}

} // namespace UmoAgent
