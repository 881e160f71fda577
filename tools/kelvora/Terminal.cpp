#include "tools/kelvora/Terminal.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

#include <curses.h>
#include <unicode/unistr.h>

#include "tools/kelvora/CharacterSet.h"
#include "tools/kelvora/Command.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

// How long a lone Esc waits for the rest of a key's sequence.
constexpr int kEscapeMs = 50;

// So many reads without a key, each of input that is there, mean that the terminal is gone.
constexpr int kMostEmptyReads = 16;

// The names of the pairs of colours are their tones.
constexpr std::array<std::pair<Tone, short>, 3> kColours{
    {{Tone::kGood, COLOR_GREEN}, {Tone::kWarm, COLOR_YELLOW}, {Tone::kHot, COLOR_RED}}};

constexpr std::array<std::pair<int, Key::Kind>, 9> kFunctionKeys{
    {{KEY_UP, Key::Kind::kUp},
     {KEY_DOWN, Key::Kind::kDown},
     {KEY_PPAGE, Key::Kind::kPageUp},
     {KEY_NPAGE, Key::Kind::kPageDown},
     {KEY_HOME, Key::Kind::kHome},
     {KEY_END, Key::Kind::kEnd},
     {KEY_ENTER, Key::Kind::kEnter},
     {KEY_BACKSPACE, Key::Kind::kBackspace},
     {KEY_DC, Key::Kind::kBackspace}}};

constexpr std::array<std::pair<wint_t, Key::Kind>, 5> kControls{{{L'\n', Key::Kind::kEnter},
                                                                 {L'\r', Key::Kind::kEnter},
                                                                 {L'\b', Key::Kind::kBackspace},
                                                                 {0x7F, Key::Kind::kBackspace},
                                                                 {0x1B, Key::Kind::kEscape}}};

template <typename Table, typename Code>
Key::Kind kindIn(const Table& table, Code code) {
  for (const auto& [known, kind] : table) {
    if (known == code) {
      return kind;
    }
  }
  return Key::Kind::kOther;
}

Key keyOf(wint_t character) {
  constexpr wint_t kFirstPrintable = 0x20;
  const Key::Kind kind = kindIn(kControls, character);
  if (kind != Key::Kind::kOther || character < kFirstPrintable) {
    return {kind, ""};
  }
  std::string text;
  icu::UnicodeString(static_cast<UChar32>(character)).toUTF8String(text);
  return {Key::Kind::kCharacter, text};
}

bool isScreenOn = false;

// The library may end the process from any thread; nothing is drawn after that. Never destroyed,
// because the main thread keeps running meanwhile; recursive, because drawing may terminate the
// process.
std::recursive_mutex& screenMutex() {
  static auto* const mutex = new std::recursive_mutex;
  return *mutex;
}

void leaveScreen() {
  const std::lock_guard lock(screenMutex());
  if (std::exchange(isScreenOn, false)) {
    endwin();
  }
}

std::terminate_handler standardTerminate = nullptr;

[[noreturn]] void leaveScreenAndTerminate() {
  leaveScreen();
  standardTerminate();
  std::abort();
}

void leaveScreenAtAnyEnd() {
  static const bool isRegistered = [] {
    std::atexit(leaveScreen);
    standardTerminate = std::set_terminate(leaveScreenAndTerminate);
    return true;
  }();
  static_cast<void>(isRegistered);
}

// Whether the terminal takes UTF-8. The user's locale may not be installed here.
bool useCharacterSet() {
  if (!isInCharacterSetOfLocale("°…文")) {
    std::setlocale(LC_CTYPE, "");
    use_legacy_coding(2);
    return false;
  }
  for (const char* name : {"", "C.UTF-8", "en_US.UTF-8"}) {
    if (std::setlocale(LC_CTYPE, name) != nullptr && MB_CUR_MAX > 1) {
      break;
    }
  }
  return true;
}

void useColours() {
  if (!has_colors() || std::getenv("NO_COLOR") != nullptr) {
    return;
  }
  start_color();
  use_default_colors();
  for (const auto& [tone, colour] : kColours) {
    init_pair(static_cast<short>(tone), colour, -1);
  }
}

attr_t attributesOf(Tone tone) {
  switch (tone) {
    case Tone::kTitle:
      return A_REVERSE;
    case Tone::kHeading:
      return A_BOLD;
    case Tone::kFaint:
      return A_DIM;
    case Tone::kHot:
      return A_BOLD;
    default:
      return A_NORMAL;
  }
}

// Tones without a colour of their own have the pair of the terminal's colours, 0.
void setTone(Tone tone) {
  const bool hasColour =
      std::ranges::find(kColours, tone, &std::pair<Tone, short>::first) != kColours.end();
  attr_set(attributesOf(tone), hasColour ? static_cast<short>(tone) : short{0}, nullptr);
}

// A text that is too long would continue in the next line.
std::vector<std::string> textsOf(const Screen& screen, std::size_t columns) {
  std::vector<std::string> texts;
  for (const ScreenLine& line : screen) {
    for (const Span& span : line) {
      const std::size_t rest = std::max(columns, span.column) - span.column;
      texts.push_back(displayWidth(span.text) > rest ? fitted(span.text, rest) : span.text);
    }
  }
  return texts;
}

// All at once: a conversion takes long to begin.
std::vector<std::string> inCharacterSet(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += text + '\n';
  }
  all = inCharacterSetOfLocale(all);
  std::vector<std::string> converted;
  for (std::size_t begin = 0; begin < all.size();) {
    const std::size_t end = std::min(all.find('\n', begin), all.size());
    converted.push_back(all.substr(begin, end - begin));
    begin = end + 1;
  }
  converted.resize(texts.size());
  return converted;
}

}  // namespace

struct Terminal::State {
  explicit State(StandardOutput& output) : session(output) {}

  void open(const std::string& refusal) {
    isUTF8 = useCharacterSet();
    screen = session.stream() == nullptr ? nullptr : newterm(nullptr, session.stream(), stdin);
    if (screen == nullptr) {
      throw CommandError(kExitUsage, refusal);
    }
    leaveScreenAtAnyEnd();
    isScreenOn = true;
    // The terminal's kind is known only now.
    static char placesCursor[] = "cup";  // older headers take no constant
    if (tigetstr(placesCursor) == nullptr) {
      close();
      throw CommandError(kExitUsage, refusal);
    }
  }
  void close() {
    leaveScreen();
    if (screen != nullptr) {
      delscreen(screen);
      screen = nullptr;
    }
  }
  void configure() const {
    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    intrflush(stdscr, FALSE);
    set_escdelay(kEscapeMs);
    curs_set(0);
    useColours();
  }
  // The variables LINES and COLUMNS may be of another time.
  void resize() const {
    const TerminalSession::Size size = session.size();
    if (size.rows > 0 && size.columns > 0) {
      resizeterm(size.rows, size.columns);
    }
    clearok(curscr, TRUE);
  }

  TerminalSession session;
  SCREEN* screen = nullptr;
  bool isUTF8 = true;
  std::optional<Key> next;
  int emptyReads = 0;
};

Terminal::Terminal(StandardOutput& output, const std::string& alternative) {
  if (!output.isTerminal() || !StandardOutput::isInputTerminal()) {
    throw CommandError(kExitUsage, "this needs a terminal; " + alternative);
  }
  const char* kind = std::getenv("TERM");
  state_ = std::make_unique<State>(output);
  state_->open("no screen on a terminal of the kind TERM=" + std::string(kind ? kind : "") + "; " +
               alternative);
  state_->configure();
  state_->resize();
}

Terminal::~Terminal() { state_->close(); }

TerminalSession::Size Terminal::size() const {
  return {std::max(getmaxx(stdscr), 1), std::max(getmaxy(stdscr), 1)};
}

void Terminal::draw(const Screen& screen) {
  std::vector<std::string> texts = textsOf(screen, static_cast<std::size_t>(size().columns));
  if (!state_->isUTF8) {
    texts = inCharacterSet(texts);
  }
  const std::lock_guard lock(screenMutex());
  if (!isScreenOn) {
    return;
  }
  erase();
  auto text = texts.begin();
  for (std::size_t row = 0; row < screen.size(); ++row) {
    for (const Span& span : screen[row]) {
      const std::string& shown = *text++;  // mvaddstr evaluates it on the screen only
      setTone(span.tone);
      mvaddstr(static_cast<int>(row), static_cast<int>(span.column), shown.c_str());
    }
  }
  refresh();
}

Terminal::Event Terminal::waitUntil(std::chrono::steady_clock::time_point deadline) {
  using System = TerminalSession::Event;
  switch (state_->session.waitUntil(deadline)) {
    case System::kStop:
      return Event::kStop;
    case System::kSuspend:
      endwin();
      state_->session.suspend();
      state_->resize();
      return Event::kRedraw;
    case System::kResume:
      // Whoever continued the process may have changed the terminal.
      endwin();
      state_->resize();
      return Event::kRedraw;
    case System::kResize:
      state_->resize();
      return Event::kRedraw;
    case System::kInput:
      state_->next = nextKey();
      state_->emptyReads = state_->next ? 0 : state_->emptyReads + 1;
      return state_->emptyReads > kMostEmptyReads ? Event::kStop : Event::kKeys;
    case System::kWork:
      return Event::kWork;
    case System::kDeadline:
      break;
  }
  return Event::kDeadline;
}

std::optional<Key> Terminal::nextKey() {
  if (state_->next) {
    return std::exchange(state_->next, std::nullopt);
  }
  const std::lock_guard lock(screenMutex());
  wint_t code = 0;
  switch (isScreenOn ? get_wch(&code) : ERR) {
    case OK:
      return keyOf(code);
    case KEY_CODE_YES:
      return Key{kindIn(kFunctionKeys, static_cast<int>(code)), ""};
    default:
      return std::nullopt;
  }
}

}  // namespace kelvora::tool
