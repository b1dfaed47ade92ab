#include "console_input.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "console.h"
#include "util/i_os.h"

namespace {

constexpr int kMostInput = 1023;    // bytes taken in one go; the terminator fills the frame's body
constexpr int kMostForwarded = 80;  // bytes of the arguments that go to the server
constexpr int kLastCommandPlace = 2;  // a local command begins at offset 0, 1 or 2
constexpr char kTarget[] = "KEL";
constexpr char kRecord[] = ">>";

// What one pass took from the operator: `length` bytes, none or fewer for an idle pass. At the end
// of its input a single-key read still gives a character, its end value.
struct Input {
    int length = 0;
    bool at_end = false;
};

// The arguments from the first "-" on, as the server's command "0 p". They go out again at the
// start of every session.
Input takeArguments(char* area) {
    const int dash = args_line.find("-", 0);
    if (dash < 0) return {};
    CharString command("0 p ");
    command += args_line.rightFrom(dash);
    const int length = std::min(command.length(), kMostForwarded);
    std::memcpy(area, command.c_str(), static_cast<std::size_t>(length));
    return {length};
}

// One key. If the server has left one-key input while the key was awaited, the key is the first one
// of a line, and what else the terminal holds of that line comes along.
Input takeKey(char* area) {
    const int key = std::getchar();
    // The mark of the end would stay for ever, and a terminal goes on after its end character.
    if (key == EOF) std::clearerr(stdin);
    area[0] = static_cast<char>(key);
    Input input{1, key == EOF};
    if (canonique == 0) {
        const auto more = read(STDIN_FILENO, area + 1, kMostInput - 1);
        input.length += std::max(static_cast<int>(more), 0);
    }
    return input;
}

Input takeLine(char* area) {
    if (WaitFdReadable(STDIN_FILENO, console_pauses.input_wait) != 1 || cnx_ok == 0) return {};
    return {static_cast<int>(read(STDIN_FILENO, area, kMostInput))};
}

Input takeInput(char* area, bool first_pass) {
    if (first_pass) return takeArguments(area);
    return canonique == 1 ? takeKey(area) : takeLine(area);
}

// The place of a local command's word in `text`, or null if the text isn't that command.
const char* findCommand(const char* text, const char* word) {
    const char* const place = std::strstr(text, word);
    return place != nullptr && place - text <= kLastCommandPlace ? place : nullptr;
}

void changeTarget(const char* number) {
    set_client(MsgOp::kLeave, kel_id);
    kel_id = static_cast<std::int16_t>(leadingNumber(number));  // the low 16 bits of any number
    std::printf("\nkel_id = %d\n", kel_id);
    set_client(MsgOp::kJoin, kel_id);
}

// `command` begins with ">>", which is the first word and stays the name if no other follows: so
// ">>log" and ">>" record to files of these very names.
void record(const char* command) {
    char name[kFrameCapacity] = "";  // longer than any input, so no word of it is refused
    CharString words(command);
    words >> name;
    words >> name;
    recorder.open(name);
}

// Carries out `text` if it is a local command; the target change comes first when both words are
// there.
bool localCommand(const char* text) {
    if (const char* target = findCommand(text, kTarget)) {
        changeTarget(target + std::strlen(kTarget));
        return true;
    }
    if (const char* command = findCommand(text, kRecord)) {
        record(command);
        return true;
    }
    return false;
}

// The text ends at its first zero byte, wherever the input ended; its terminator counts.
void sendText(MsgToSend& frame, const char* text) {
    frame.setKelId(kel_id);
    frame.setLg(static_cast<std::int32_t>(std::strlen(text)) + 1);
    frame.setType(MsgType::kText);
    frame.setOp(MsgOp::kText);
    sendFrame(frame);  // a loss is the "Receiver"'s to see
}

void inputPass(bool first_pass) {
    MsgToSend frame(kFrameCapacity, nullptr);
    char* const text = frame.body();
    const Input input = takeInput(text, first_pass);
    const bool usable = cnx_ok != 0 && input.length > 0;
    if (usable) {
        text[input.length] = '\0';
        if (!localCommand(text)) sendText(frame, text);
    }
    // At the end of its input one-key mode finds an end value in every pass: without the pause
    // these would flood the server.
    if ((!usable || input.at_end) && cnx_ok != 0) threadSleep(console_pauses.idle_pass);
}

}  // namespace

void inputLoop() {
    set_client(MsgOp::kJoin, kFirstConnected);  // whatever target the operator has chosen before
    std::printf("\nPress return");
    for (bool first_pass = true; cnx_ok != 0; first_pass = false)
        inputPass(first_pass);
}
