#include "inspector/commands.h"
#include "inspector/options.h"
#include "inspector/solver/solve-command.h"
#include "vx/enum.h"

#include <memory>
#include <optional>
#include <string>

namespace inspector {
namespace {

constexpr int highestRegister = 65535;
constexpr int highestSlave = 255;

/// What only matters to a bus isn't passed over beside files.
void requireBusFor(const CLI::App& solve) {
    for (const char* name :
         {"--slave", "--from", "--to", "--keep", "--time-out", "--share", "--stop-service"})
        if (solve.count(name) > 0)
            throw CLI::ValidationError(std::string(name) + " needs --tcp or --rtu");
}

/// The words of one reading at most come from the bus, those of the last.
void requireWords(const CLI::App& solve, const SolveOptions& options) {
    const bool hasBus = options.bus.address.tcp || options.bus.address.rtu;
    const bool isSecond = options.again.has_value();
    if (options.wordsAgain && !isSecond)
        throw CLI::ValidationError("--words-again needs --again");
    if (isSecond && !options.words)
        throw CLI::ValidationError("--again needs the --words of the first reading");
    if (options.words == "-" && options.wordsAgain == "-")
        throw CLI::ValidationError("Only the words of one reading can come from standard input");
    const bool hasLast = isSecond ? options.wordsAgain.has_value() : options.words.has_value();
    if (hasLast && hasBus)
        throw CLI::ValidationError("Words from a file, or --tcp or --rtu: not both");
    if (!hasBus)
        requireBusFor(solve);
    if (!hasLast && !hasBus)
        throw CLI::ValidationError(isSecond ? "No words: give --words-again, --tcp or --rtu"
                                            : "No words: give --words, --tcp or --rtu");
    if (hasBus && (solve.count("--from") == 0 || solve.count("--to") == 0))
        throw CLI::ValidationError("Which registers: give --from and --to");
    if (options.range.first > options.range.last)
        throw CLI::ValidationError("--from is behind --to");
}

/// What the display shows, and files with the words of the meter.
void addReadings(CLI::App& solve, SolveOptions& options) {
    solve.add_option("display", options.display, "Such as \"1651.91 kWh\", or the serial")
        ->required()
        ->check(named());
    addFile(solve, "--words", options.words, "Words that were read; - is standard input");
    solve.add_option("--again", options.again, "What the display shows some time later")
        ->check(named());
    addFile(solve, "--words-again", options.wordsAgain, "The words of that time");
}

/// What is read from a meter now.
void addRange(CLI::App& solve, SolveOptions& options) {
    addBus(solve, options.bus);
    solve.add_option("--slave", options.range.slaveAddress, "Address of the meter (1)")
        ->check(wholeNumber(0, highestSlave));
    solve.add_option("--from", options.range.first, "First register to read")
        ->check(wholeNumber(0, highestRegister));
    solve.add_option("--to", options.range.last, "Last register to read")
        ->check(wholeNumber(0, highestRegister));
    addFile(solve, "--keep", options.keep, "New file for the words that were read");
}

void addField(CLI::App& solve, SolveOptions& options) {
    using vxModel::ModbusFieldType;
    const auto complaint = [](const std::string& name) {
        return vx::tryToEnum<ModbusFieldType>(name) ? std::string()
                                                    : "'" + name + "' is no field of a register";
    };
    solve
        .add_option_function<std::string>(
            "--field",
            [&options](const std::string& name) {
                options.fieldType = vx::tryToEnum<ModbusFieldType>(name);
            },
            "Field of the entries, such as energyExport")
        ->check(CLI::Validator(complaint, ""))
        ->type_name("NAME");
}

} // namespace

void addSolve(CLI::App& app, Command& command) {
    CLI::App& solve =
        *app.add_subcommand("solve", "Find the register that holds what a meter's display shows");
    const auto options = std::make_shared<SolveOptions>();
    addReadings(solve, *options);
    addRange(solve, *options);
    addField(solve, *options);
    solve.add_flag("--json", options->json, "One JSON document instead of text");
    solve.callback([options, &solve, &command] {
        requireWords(solve, *options);
        command = [options] { return runSolve(*options); };
    });
}

} // namespace inspector
