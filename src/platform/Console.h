// Console.h
//
// Private platform interface: the console's colour attribute and standard output.
#ifndef KERNA_SRC_PLATFORM_CONSOLE_H_
#define KERNA_SRC_PLATFORM_CONSOLE_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// The attribute that stands for the terminal's own default colours.
const int consoleDefaultAttribute = -1;

/// The attribute set last (consoleDefaultAttribute at first).
int consoleAttribute();
/// Sets a colour attribute (0-15 as on a text console: bit 0 blue, 1 green, 2 red, 3 bright;
/// consoleDefaultAttribute restores the default). Nothing happens unless standard output is a
/// terminal; the code goes straight to standard output.
void setConsoleAttribute(int attribute);
/// Flushes standard output.
void flushConsole();
/// Writes text to standard output.
void writeConsole(const char* text);
/// For tests: with a sink, the console counts as a terminal and everything it would write to
/// standard output (text and colour codes, in order) goes to the sink instead; null puts
/// standard output back.
void setConsoleSink(void (*sink)(const char* text));

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_CONSOLE_H_
