#include "command/options.h"

#include <sched.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iostream>
#include <span>
#include <string_view>
#include <utility>

#include "command/bmp_options.h"
#include "command/help_text.h"
#include "command/many_options.h"
#include "command/settings_options.h"
#include "command/usage_error.h"
#include "export/read_palette.h"
#include "export/read_picture.h"
#include "export/reference.h"
#include "picture/color_words.h"
#include "process/failure.h"

namespace tool {
namespace {

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 128 + n ended by signal n";
constexpr char kSeeHelp[] = "see tivar --help";
constexpr char kSeeExportHelp[] = "see tivar export --help";

// Options as typed, for what CLI11 does not check by itself.
struct Typed {
    unsigned bits = 0;
    std::string compress;
    std::string size;
    int resolution = 0;  // 0 = not given
    std::string via;
    std::string route;
    std::string cellArrays;
    std::string background;
    std::string palette;
    std::string like;
    unsigned colors = 0;
    std::string dither;
    bool rgb565 = false;
    bool rgb555 = false;
    std::string fit;
    std::string pad;
    std::string scale;
    int rotate = 0;
    bool os2 = false;
    bool version = false;
};

template <class Number>
bool parseWhole(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// One side, in pixels; 0 when the text is no usable number.
uint32_t parseSide(std::string_view text, bool inches, int resolution) {
    if (!inches) {
        uint32_t pixels = 0;
        return parseWhole(text, pixels) && pixels <= kLargestSide ? pixels : 0;
    }
    double length = 0;
    if (!parseWhole(text, length) || !(length > 0) || length > kLargestSide) return 0;
    const double exact = std::round(length * resolution);
    return exact <= kLargestSide ? static_cast<uint32_t>(exact) : 0;
}

PixelSize parseSize(std::string_view text, int resolution) {
    const std::string asked(text);
    const bool inches = text.ends_with("in");
    if (inches) text.remove_suffix(2);
    const size_t cross = text.find_first_of("xX");
    if (cross != std::string_view::npos) {
        const PixelSize size{parseSide(text.substr(0, cross), inches, resolution),
                             parseSide(text.substr(cross + 1), inches, resolution)};
        if (size.width != 0 && size.height != 0) return size;
    }
    failUsage("--size " + asked + " is no size of 1 to 65535 pixels a side",
              "write it as 640x480 or 6.67x5in");
}

Color parseColor(const std::string& option, const std::string& text) {
    const std::optional<Color> color = colorNamed(text);
    if (color) return *color;
    failUsage(option + " " + text + " is no colour",
              "write it as RRGGBB, such as FFFFFF, as RGB, or as a name, such as white");
}

Compression parseCompression(const std::string& text) {
    if (text == "none") return Compression::None;
    return text == "native" ? Compression::Native : Compression::Portable;
}

void addBackground(CLI::App& app, Typed& typed) {
    app.add_option("--background", typed.background,
                   "Colour behind transparent pixels, as RRGGBB, RGB or a name (else white)")
        ->type_name("COLOUR");
}

void addFormatOptions(CLI::App& app, Options& options, Typed& typed) {
    app.add_option("--like", typed.like,
                   "As this BMP file is, where no other option says otherwise: size, depth, "
                   "headers, encoding, palette, resolution, order of rows, colour masks")
        ->check(notEmpty())
        ->type_name("FILE");
    app.add_option(
           "--bits", typed.bits,
           "Bits per pixel (else those of a palette picture that is not scaled smoothly, 8 for "
           "greys, 24 for true colour); 16 and 32, "
           "which keeps alpha, are the direct route's")
        ->check(oneOf({"1", "4", "8", "16", "24", "32"}))
        ->type_name("1|4|8|16|24|32");
    app.add_flag("--os2", typed.os2, "Write the OS/2 flavour of the file");
    app.add_option("--compress", typed.compress,
                   "native: the library's own run-length form of 4 and 8 bits, pairs of a count "
                   "and a value without end-of-line codes, which few readers open (tivar decode "
                   "does). portable: standard RLE8 and RLE4, which readers open; Windows flavour "
                   "only")
        ->check(oneOf({"none", "native", "portable"}))
        ->type_name("none|native|portable");
    app.add_flag("--force", options.jobs.each.force,
                 "Write the native form with the OS/2 flavour too, whose header does not tell that "
                 "rows are encoded");
    addBackground(app, typed);
}

void addColorOptions(CLI::App& app, Typed& typed) {
    std::string names;
    for (const std::string& name : paletteNames()) names += (names.empty() ? "" : ", ") + name;
    CLI::Option* palette =
        app.add_option("--palette", typed.palette,
                       "Exactly these colours, in this order: of a .gpl, .act, .pal or .hex file, "
                       "of a picture, or known by name (" +
                           names + ")")
            ->check(notEmpty())
            ->type_name("FILE|NAME");
    app.add_option("--colors", typed.colors, "At most so many colours, chosen for the picture")
        ->check(CLI::Range(2, 256).description(""))
        ->excludes(palette)
        ->type_name("N");
    app.add_option("--dither", typed.dither,
                   "How colours are mixed: not at all, by error diffusion, or in a fixed pattern "
                   "(else diffuse at 1 and 4 bits, none at 8 and 16)")
        ->check(oneOf({"none", "diffuse", "ordered"}))
        ->type_name("none|diffuse|ordered");
    CLI::Option* rgb565 =
        app.add_flag("--rgb565", typed.rgb565, "16 bits: 5 of red, 6 of green, 5 of blue");
    app.add_flag("--rgb555", typed.rgb555, "16 bits: 5 of each, one left over")->excludes(rgb565);
}

void addShapeOptions(CLI::App& app, Typed& typed) {
    app.add_option("--fit", typed.fit,
                   "How the picture meets its --size. contain: whole, in proportion, with borders. "
                   "cover: in proportion, its edges cut. stretch: out of proportion (else contain "
                   "on the direct route, which scales smoothly; on the others as their interface "
                   "does it: stretched, by dropping and repeating pixels)")
        ->check(oneOf({"contain", "cover", "stretch"}))
        ->type_name("contain|cover|stretch");
    app.add_option("--pad", typed.pad, "Colour of the borders (else that of --background)")
        ->type_name("COLOUR");
    app.add_option("--scale", typed.scale,
                   "smooth: light is mixed, for photographs. pixel: colours stay as they are, for "
                   "pixel art (else smooth, but for pictures of at most 64 colours that grow by a "
                   "whole number)")
        ->check(oneOf({"smooth", "pixel"}))
        ->type_name("smooth|pixel");
    app.add_option("--rotate", typed.rotate,
                   "Turn pictures clockwise, once they are upright as their EXIF data say")
        ->check(oneOf({"90", "180", "270"}))
        ->type_name("90|180|270");
}

void addSizeOptions(CLI::App& app, Options& options, Typed& typed) {
    CLI::Option* size =
        app.add_option("--size", typed.size,
                       "Size in pixels (640x480) or inches (6.67x5in); an odd height becomes even "
                       "on the routes filter and driver")
            ->type_name("WxH");
    app.add_option("--resolution", typed.resolution,
                   "Pixels per inch of a --size in inches (else 96)")
        ->check(CLI::Range(32, 400).description(""))
        ->needs(size)
        ->type_name("N");
    CLI::Option* profile =
        app.add_option("--profile", options.jobs.each.profile,
                       "Take depth, flavour, compression and size from this profile")
            ->type_name("FILE");
    app.add_option("--mode", options.jobs.each.mode, "Section of the profile (else its ~Mode)")
        ->needs(profile)
        ->type_name("NAME");
}

void addOrientation(CLI::App& app, ReadRequest& reading) {
    app.add_flag_callback(
        "--no-orient", [&reading] { reading.orient = false; },
        "Leave pictures as they are stored, whatever their EXIF data say");
}

void addQuiet(CLI::App& app, bool& quiet) {
    app.add_flag("-q,--quiet", quiet, "No progress and no notices");
}

void addRunOptions(CLI::App& app, Options& options, Typed& typed) {
    app.add_option("INPUT", options.jobs.inputs,
                   "Pictures (" + readableKinds() + "); - is standard input")
        ->check(notEmpty())
        ->type_name("");
    app.add_option("-o,--output", options.jobs.out,
                   "File, or directory for several inputs; - is standard output (else beside each "
                   "input, with suffix .bmp)")
        ->check(notEmpty())
        ->type_name("OUT");
    addManyOptions(app, options.jobs);
    app.add_option("--via", typed.via, "How the library delivers the file (else file)")
        ->check(oneOf({"file", "memory", "document"}))
        ->type_name("file|memory|document");
    app.add_option("--route", typed.route,
                   "The way through the library. direct: one call, exact sizes, the best colours. "
                   "filter: the export call with settings, for files as its hosts know them, "
                   "colours and even heights included. driver: the same through the raster driver, "
                   "operation by operation (else direct, or filter where an option is the "
                   "settings' alone: --profile, --compress native, --via)")
        ->check(oneOf({"direct", "filter", "driver"}))
        ->type_name("direct|filter|driver");
    app.add_option("--cell-arrays", typed.cellArrays,
                   "How the driver gets the rows: in bands of one image, or all in one array, "
                   "which keeps an odd height (else banded)")
        ->check(oneOf({"banded", "single"}))
        ->type_name("banded|single");
    app.add_option("-j,--jobs", options.jobs.atOnce, "Export this many inputs at once")
        ->check(CLI::Range(1, 256).description(""))
        ->type_name("N");
    addReading(app, options.jobs.each.reading);
    addOrientation(app, options.jobs.each.reading);
    addQuiet(app, options.jobs.each.quiet);
}

void addGalleryOptions(CLI::App& app, Options& options, Typed& typed) {
    app.add_option("INPUT", options.gallery.input, "A picture (" + readableKinds() + ")")
        ->required()
        ->check(notEmpty())
        ->type_name("");
    app.add_option("-o,--output", options.gallery.directory,
                   "The directory for the BMP files and for index.html, which shows them; made if "
                   "it is missing")
        ->required()
        ->check(notEmpty())
        ->type_name("DIR");
    addBackground(app, typed);
    addReading(app, options.gallery.each.reading);
    addOrientation(app, options.gallery.each.reading);
    addQuiet(app, options.gallery.each.quiet);
    app.footer(
        "The page has the filter, the driver and the direct route side by side at each depth, then "
        "what only the direct route has, with PSNR, the same after a blur, bytes and time of each. "
        "Pictures of more than 400 pixels a side are shown reduced by a whole number, with their "
        "middle pixel by pixel; the figures are those of all pixels.");
}

// The first option that only the interfaces with settings have; "" = there is none.
std::string settingsOnly(const Typed& typed, const ExportRequest& request) {
    if (!request.profile.empty()) return "--profile";
    if (request.compression == Compression::Native) return "--compress native";
    return typed.via.empty() ? "" : "--via";
}

// The first option that only the direct interface has; "" = there is none.
std::string directOnly(const Typed& typed) {
    if (typed.bits == 16 || typed.bits == 32) return "--bits " + std::to_string(typed.bits);
    if (!typed.like.empty()) return "--like";
    if (!typed.palette.empty()) return "--palette";
    if (typed.colors != 0) return "--colors";
    if (!typed.dither.empty()) return "--dither";
    if (typed.rgb565) return "--rgb565";
    return typed.rgb555 ? "--rgb555" : "";
}

// Where no route is named, options that only the interfaces with settings have take the filter's.
void chooseRoute(const Typed& typed, ExportRequest& request) {
    const std::string direct = directOnly(typed);
    const std::string settings = settingsOnly(typed, request);
    const bool named = !typed.route.empty();
    const bool needsSettings = !named && direct.empty() && !settings.empty();
    if (typed.route == "driver") request.route = Route::Driver;
    if (typed.route == "filter" || needsSettings) request.route = Route::Filter;
    if (request.route != Route::Direct && !direct.empty()) {
        failUsage(direct + " needs --route direct", kSeeExportHelp);
    }
    if (request.route == Route::Direct && !settings.empty()) {
        failUsage(settings + " does not go with " + (named ? "--route direct" : direct),
                  "leave out one of the two");
    }
}

void applyColors(const Typed& typed, ColorRequest& colors) {
    constexpr std::array kDithers{"", "none", "diffuse", "ordered"};
    static_assert(TIVAR_DITHER_NONE == 1 && TIVAR_DITHER_ORDERED == kDithers.size() - 1);
    colors.dither = static_cast<int32_t>(std::find(kDithers.begin(), kDithers.end(), typed.dither) -
                                         kDithers.begin());
    if (typed.rgb565) colors.masks = TIVAR_MASKS_565;
    if (typed.rgb555) colors.masks = TIVAR_MASKS_555;
    colors.count = static_cast<uint16_t>(typed.colors);
    if (!typed.palette.empty()) colors.palette = readPalette(typed.palette);
}

// How a size is met is no question without one, of its own or of another file.
void requireSize(const Typed& typed, const char* option, const std::string& value) {
    if (value.empty() || !typed.size.empty() || !typed.like.empty()) return;
    failUsage(std::string(option) + " requires --size or --like", kSeeExportHelp);
}

void applyShape(const Typed& typed, ExportRequest& request) {
    requireSize(typed, "--fit", typed.fit);
    requireSize(typed, "--pad", typed.pad);
    requireSize(typed, "--scale", typed.scale);
    ShapeRequest& shape = request.shape;
    if (typed.fit == "contain") shape.fit = Fit::Contain;
    if (typed.fit == "cover") shape.fit = Fit::Cover;
    if (typed.fit == "stretch") shape.fit = Fit::Stretch;
    if (typed.scale == "smooth") shape.scaling = Scaling::Smooth;
    if (typed.scale == "pixel") shape.scaling = Scaling::Pixels;
    if (!typed.pad.empty()) shape.pad = parseColor("--pad", typed.pad);
    if (shape.pad && shape.fit && shape.fit != Fit::Contain) {
        failUsage("--fit " + typed.fit + " leaves no borders for --pad",
                  "leave out one of the two, or choose --fit contain");
    }
    request.reading.quarters = typed.rotate / 90;
}

// Standard input is read to its end by the first that asks for it.
void refuseSharedInput(const Typed& typed, const JobsRequest& jobs) {
    const auto& inputs = jobs.inputs;
    const std::array<std::pair<bool, const char*>, 4> uses{
        {{std::find(inputs.begin(), inputs.end(), "-") != inputs.end(), "a picture"},
         {jobs.filesFrom == "-", "the list of others"},
         {typed.palette == "-", "the palette"},
         {typed.like == "-", "the file to follow"}}};
    std::string words;
    for (const auto& [used, word] : uses) {
        if (!used) continue;
        if (!words.empty()) {
            failUsage("standard input cannot be " + words + " and " + word, "name one of them");
        }
        words = word;
    }
}

void applyTyped(const Typed& typed, ExportRequest& request) {
    if (typed.bits != 0) request.bits = static_cast<uint16_t>(typed.bits);
    if (typed.os2) request.flavour = Flavour::Os2;
    if (!typed.compress.empty()) request.compression = parseCompression(typed.compress);
    if (!typed.size.empty()) {
        request.size = parseSize(typed.size, typed.resolution == 0 ? 96 : typed.resolution);
    }
    if (typed.resolution != 0 && !typed.size.ends_with("in")) {
        failUsage("--resolution needs a --size in inches", kSeeExportHelp);
    }
    if (!typed.background.empty())
        request.background = parseColor("--background", typed.background);
    if (typed.via == "memory") request.via = Via::Memory;
    if (typed.via == "document") request.via = Via::Document;
    if (typed.cellArrays == "single") request.cellArrays = CellArrays::Single;
    if (!typed.cellArrays.empty() && typed.route != "driver") {
        failUsage("--cell-arrays needs --route driver", kSeeExportHelp);
    }
    applyShape(typed, request);
    chooseRoute(typed, request);
    applyColors(typed, request.colors);
    if (!typed.like.empty()) follow(readReference(typed.like), request);
}

struct CommandLine {
    CLI::App app{"Exports pictures as BMP files through libtivar, loaded at run time.", "tivar"};
    CLI::App* exporting{};
    CLI::App* gallery{};
    CLI::App* info{};
    BmpCommands bmp{};
    SettingsCommands settings{};
};

void describeExport(CommandLine& line, Options& options, Typed& typed) {
    line.exporting = line.app.add_subcommand("export", "Export pictures as BMP files");
    addRunOptions(*line.exporting, options, typed);
    addFormatOptions(*line.exporting, options, typed);
    addColorOptions(*line.exporting, typed);
    addSizeOptions(*line.exporting, options, typed);
    addShapeOptions(*line.exporting, typed);
    addLibrary(*line.exporting, options.library);
}

void describeOthers(CommandLine& line, Options& options, Typed& typed) {
    line.gallery = line.app.add_subcommand(
        "gallery", "Export a picture in every form, with a page that shows them");
    addGalleryOptions(*line.gallery, options, typed);
    addLibrary(*line.gallery, options.library);
    line.bmp = addBmpCommands(line.app, options);
    line.settings = addSettingsCommands(line.app, options);
    line.info = line.app.add_subcommand("info", "Show what the library offers");
    // Listed only: its line is spelled out before it is parsed.
    line.app.add_subcommand("help", "Show this, or the options of a command");
    addLibrary(*line.info, options.library);
}

// An export is the usual command, and may be one of many: the others, which it cannot be, are left
// away.
void describe(CommandLine& line, Options& options, Typed& typed,
              const std::vector<std::string>& arguments) {
    line.app.require_subcommand(0, 1);
    line.app.allow_windows_style_options(false);  // a slash begins a path, everywhere
    line.app.footer(kExitCodes);
    line.app.add_flag("--version", typed.version, "Versions of the program and the library");
    addLibrary(line.app, options.library);
    describeExport(line, options, typed);
    const bool exports = !arguments.empty() && arguments.front() == "export";
    if (!exports) describeOthers(line, options, typed);
}

std::string remedyOf(const CommandLine& line) {
    if (line.gallery == nullptr || line.exporting->parsed()) return kSeeExportHelp;
    if (line.settings.all->parsed()) return "see tivar settings --help";
    if (const CLI::App* bmp = parsedOf(line.bmp)) return "see tivar " + bmp->get_name() + " --help";
    for (const CLI::App* command : {line.gallery, line.info}) {
        if (command->parsed()) return "see tivar " + command->get_name() + " --help";
    }
    return kSeeHelp;
}

Command chosen(const CommandLine& line, const Typed& typed) {
    if (typed.version) return Command::Version;
    if (line.exporting->parsed()) return Command::Export;
    if (line.gallery->parsed()) return Command::Gallery;
    if (parsedOf(line.bmp) != nullptr) return chosenOf(line.bmp);
    if (line.info->parsed()) return Command::Info;
    if (line.settings.all->parsed()) return chosenOf(line.settings);
    failUsage("a command is missing", kSeeHelp);
}

// Processors, of those that this process may use, that no other picture keeps busy. The bytes are
// the same whatever their number.
unsigned threadsFor(unsigned picturesAtOnce) {
    cpu_set_t usable;
    if (::sched_getaffinity(0, sizeof usable, &usable) != 0) return 1;
    return std::max(1u, static_cast<unsigned>(CPU_COUNT(&usable)) / picturesAtOnce);
}

// "help export" is short for "export --help".
std::vector<std::string> spelledOut(int argc, char** argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    if (arguments.empty() || arguments.front() != "help") return arguments;
    arguments.erase(arguments.begin());
    arguments.emplace_back("--help");
    return arguments;
}

}  // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    Typed typed;
    CommandLine line;
    const std::vector<std::string> arguments = spelledOut(argc, argv);
    describe(line, options, typed, arguments);
    try {
        line.app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success&) {
        refuseStrays(line.app, remedyOf(line));
        std::cout << wrapped(line.app.help(), terminalColumns());
        return options;
    } catch (const CLI::ParseError& error) {
        failParse(line.app, error, std::span(argv, static_cast<size_t>(argc)).subspan(1),
                  remedyOf(line));
    }
    options.command = chosen(line, typed);
    refuseSharedInput(typed, options.jobs);
    applyTyped(typed, options.jobs.each);
    options.jobs.each.threads = threadsFor(options.jobs.atOnce);
    options.jobs.each.reading.threads = options.jobs.each.threads;
    options.gallery.each.background = options.jobs.each.background;
    return options;
}

}  // namespace tool
