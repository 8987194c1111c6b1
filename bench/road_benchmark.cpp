// What a viewer pays for refcntr on each presentation state (and media directory) it opens,
// against DCMTK on the same file. Each measurement runs in a fresh process (this program with
// --run), so that one-time costs of a process count as they do for a viewer's first file;
// library loading and DCMTK's dictionary are paid before the clock starts, on both sides. The
// two sides alternate, and each figure is the median of the rounds.
//
//   road_benchmark [--rounds N] [--files DIR]     prints the tables (5 rounds, files in /tmp)
//
// Columns: our create + save against DCMTK's presentation-state class reading and writing the
// same parsed data set (which has no counterpart for a directory); the same for a later file of
// the process, which a viewer opening file after file pays most (a first one is made untimed, so
// that the process has run the code and holds the memory; the processor's caches are as cold as
// on the first file); our whole road (read file, create, save, write file; for a directory
// DirectoryFile's read and relinking write) against DCMTK's bare load and save; the peak
// resident memory of those two roads above what the process held when the clock started, every
// shared library being paged in whole before.
//
// A second table splits a first create + save of each grayscale state against the same DCMTK
// figure: create alone (with the containers' deletion), and a deep copy of the data set read,
// which builds the very elements that save builds from the containers of these files.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmpstat/dcmpstat.h>
#include <dcmtk/oflog/oflog.h>

#include "GeneratedDirectory.h"
#include "PresentationStateFiles.h"
#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryFile.h"
#include "refcntr/platform/Arena.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr::bench {
namespace {

// The files measured: presentation states of each kind, and a media directory (kind -1).
struct StateFile {
    const char* label;
    int kind;
    long size;  // annotations, or records
};

constexpr int mediaDirectory = -1;

const StateFile stateFiles[] = {
    {"GSPS 10", int(StateKind::Grayscale), 10},         {"GSPS 100", int(StateKind::Grayscale), 100},
    {"GSPS 1,000", int(StateKind::Grayscale), 1000},    {"GSPS 10,000", int(StateKind::Grayscale), 10000},
    {"CSPS 1,000", int(StateKind::Color), 1000},        {"PSPS 1,000", int(StateKind::PseudoColor), 1000},
    {"DICOMDIR 10,000 records", mediaDirectory, 10000},
};

using Clock = std::chrono::steady_clock;

// A field of /proc/self/status in KiB: VmRSS now, VmHWM the peak of this program's image
// (which, unlike the rusage of a child, starts afresh at exec).
long statusKiB(const char* field) {
    long value = -1;
    if (FILE* status = std::fopen("/proc/self/status", "r")) {
        char line[256];
        const std::size_t length = std::strlen(field);
        while (std::fgets(line, sizeof line, status))
            if (std::strncmp(line, field, length) == 0 && line[length] == ':') value = std::atol(line + length + 1);
        std::fclose(status);
    }
    return value;
}

// Pages in every shared library the process has mapped, so that neither side's peak counts the
// library code it happens to run for the first time: that is library loading, paid once per
// process, whereas the peak should measure what a road holds.
void pageInLibraries() {
    std::FILE* maps = std::fopen("/proc/self/maps", "r");
    if (maps == nullptr) return;
    char line[512];
    while (std::fgets(line, sizeof line, maps)) {
        unsigned long begin = 0, end = 0;
        char permissions[8] = {};
        if (std::sscanf(line, "%lx-%lx %7s", &begin, &end, permissions) != 3 || permissions[0] != 'r') continue;
        if (std::strstr(line, ".so") == nullptr) continue;
        for (unsigned long page = begin; page < end; page += 4096) (void)*reinterpret_cast<volatile const char*>(page);
    }
    std::fclose(maps);
}

std::unique_ptr<CompositeIOD> createIOD(const DICOMDataObject& data, int kind) {
    if (kind == mediaDirectory) return std::unique_ptr<CompositeIOD>(BasicDirectoryCompositeIOD::create(data));
    switch (StateKind(kind)) {
    case StateKind::Color:
        return std::unique_ptr<CompositeIOD>(ColorSoftcopyPresentationStateCompositeIOD::create(data));
    case StateKind::PseudoColor:
        return std::unique_ptr<CompositeIOD>(PseudoColorSoftcopyPresentationStateCompositeIOD::create(data));
    case StateKind::Grayscale: break;
    }
    return std::unique_ptr<CompositeIOD>(GrayscaleSoftcopyPresentationStateCompositeIOD::create(data));
}

std::unique_ptr<DcmFileFormat> loadWithDcmtk(const std::string& path) {
    auto file = std::make_unique<DcmFileFormat>();
    if (file->loadFile(path.c_str()).bad() || file->loadAllDataIntoMemory().bad())
        throw std::runtime_error("DCMTK cannot read " + path);
    return file;
}

// One road in this process: prints the microseconds it took and the peak resident KiB above
// what the process held when the clock started. A road that cannot be taken prints -1.
int runRoad(const std::string& road, const std::string& path, int kind) {
    OFLog::configure(OFLogger::FATAL_LOG_LEVEL);
    if (!dcmDataDict.isDictionaryLoaded()) throw std::runtime_error("DCMTK's dictionary is not loaded");
    const std::string output = path + "." + road + ".out.dcm";
    std::unique_ptr<DICOMDataObject> parsed;
    std::unique_ptr<DcmFileFormat> dcmtkParsed;
    const bool later = road.size() > 6 && road.compare(road.size() - 6, 6, "-later") == 0;
    const std::string side = later ? road.substr(0, road.size() - 6) : road;
    if (side == "containers" || side == "create" || side == "copy") parsed = readDicomFile(path);
    if (side == "dcmpstat") dcmtkParsed = loadWithDcmtk(path);
    const auto createAndSave = [&] {
        std::unique_ptr<CompositeIOD> iod = createIOD(*parsed, kind);
        DICOMDataObject saved;
        iod->save(saved);
    };
    const auto readAndWrite = [&] {
        DcmPresentationState state;
        if (kind == mediaDirectory || state.read(*dcmtkParsed->getDataset()).bad()) return false;
        DcmDataset written;
        state.write(written, OFFalse);
        return true;
    };
    if (later && side == "containers") createAndSave();
    if (later && side == "dcmpstat" && !readAndWrite()) {
        std::printf("-1 0\n");
        return 0;
    }
    pageInLibraries();
    const long baseline = statusKiB("VmRSS");
    const Clock::time_point start = Clock::now();
    if (side == "containers") {
        createAndSave();
    } else if (side == "create") {
        createIOD(*parsed, kind);
    } else if (side == "copy") {
        ArenaScope arena;  // as save builds its elements
        DICOMDataObject copy(*parsed);
    } else if (side == "dcmpstat") {
        if (!readAndWrite()) {
            std::printf("-1 0\n");
            return 0;
        }
    } else if (road == "file" && kind == mediaDirectory) {
        DirectoryFile::read(path)->write(output, TransferSyntax::ExplicitLittle);
    } else if (road == "file") {
        // The data set read is released once the containers hold its values, as a viewer would.
        std::unique_ptr<CompositeIOD> iod = createIOD(*readDicomFile(path), kind);
        DICOMDataObject saved;
        iod->save(saved);
        writeDicomFile(output, saved, TransferSyntax::ExplicitLittle);
    } else {
        std::unique_ptr<DcmFileFormat> file = loadWithDcmtk(path);
        if (file->saveFile(output.c_str(), EXS_LittleEndianExplicit).bad())
            throw std::runtime_error("DCMTK cannot write " + output);
    }
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
    std::printf("%lld %ld\n", static_cast<long long>(micros), statusKiB("VmHWM") - baseline);
    return 0;
}

struct Measurement {
    double milliseconds = -1;
    double peakKiB = -1;  // above the baseline
};

// Runs this program with --run in a fresh process.
Measurement measure(const std::string& self, const std::string& road, const std::string& path, int kind) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) throw std::runtime_error("cannot make a pipe");
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipeEnds[1], STDOUT_FILENO);
        close(pipeEnds[0]);
        const std::string kindNumber = std::to_string(kind);
        execl(self.c_str(), self.c_str(), "--run", road.c_str(), path.c_str(), kindNumber.c_str(), (char*)nullptr);
        _exit(127);
    }
    close(pipeEnds[1]);
    char text[128] = {};
    const ssize_t length = read(pipeEnds[0], text, sizeof text - 1);
    close(pipeEnds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    long long micros = -1;
    long peak = 0;
    if (length <= 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
        std::sscanf(text, "%lld %ld", &micros, &peak) != 2)
        throw std::runtime_error("the " + road + " road failed on " + path);
    Measurement result;
    if (micros >= 0) result = {micros / 1000.0, double(peak)};
    return result;
}

double median(std::vector<double> values) {
    values.erase(std::remove_if(values.begin(), values.end(), [](double v) { return v < 0; }), values.end());
    if (values.empty()) return -1;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct Comparison {
    std::vector<double> ours, theirs;
    double ratio() const {
        const double a = median(ours), b = median(theirs);
        return a < 0 || b <= 0 ? -1 : a / b;
    }
};

std::string cell(const Comparison& comparison, const char* unit) {
    const double ratio = comparison.ratio();
    if (ratio < 0) return "-";
    // Two decimals below 10, so that the milliseconds of a small file show.
    const auto figure = [](double value) {
        char text[32];
        std::snprintf(text, sizeof text, value < 10 ? "%.2f" : "%.1f", value);
        return std::string(text);
    };
    char text[128];
    std::snprintf(text, sizeof text, "%.2f (%s / %s %s)", ratio, figure(median(comparison.ours)).c_str(),
                  figure(median(comparison.theirs)).c_str(), unit);
    return text;
}

int runTable(const std::string& self, int rounds, const std::string& directory) {
    std::printf(
        "| state | create + save vs dcmpstat read + write (goal <= 0.1) | the same for a later file (no goal) | "
        "read, create, save, write vs DCMTK load + save (goal <= 1.3) | peak RSS vs DCMTK load + save (goal <= 1.5) "
        "|\n|---|---|---|---|---|\n");
    std::vector<std::string> splits;
    for (const StateFile& state : stateFiles) {
        const char* const kindNames[] = {"directory", "gsps", "csps", "psps"};
        const std::string path =
            directory + "/refcntr-road-" + kindNames[state.kind + 1] + "-" + std::to_string(state.size) + ".dcm";
        if (state.kind == mediaDirectory) {
            if (!std::ifstream(path).good()) testfiles::writeGeneratedDirectory(path, unsigned(state.size));
        } else {
            writePresentationState(path, StateKind(state.kind), state.size);
        }
        Comparison containers, later, road, memory, create, copy;
        const bool split = state.kind == int(StateKind::Grayscale);
        for (int round = 0; round < rounds; ++round) {
            const bool oursFirst = round % 2 == 0;
            for (int turn = 0; turn < 2; ++turn) {
                if ((turn == 0) == oursFirst) {
                    containers.ours.push_back(measure(self, "containers", path, state.kind).milliseconds);
                    if (split) create.ours.push_back(measure(self, "create", path, state.kind).milliseconds);
                    if (split) copy.ours.push_back(measure(self, "copy", path, state.kind).milliseconds);
                    later.ours.push_back(measure(self, "containers-later", path, state.kind).milliseconds);
                    const Measurement file = measure(self, "file", path, state.kind);
                    road.ours.push_back(file.milliseconds);
                    memory.ours.push_back(file.peakKiB);
                } else {
                    containers.theirs.push_back(measure(self, "dcmpstat", path, state.kind).milliseconds);
                    later.theirs.push_back(measure(self, "dcmpstat-later", path, state.kind).milliseconds);
                    const Measurement file = measure(self, "dcmtk", path, state.kind);
                    road.theirs.push_back(file.milliseconds);
                    memory.theirs.push_back(file.peakKiB);
                }
            }
        }
        std::printf("| %s | %s | %s | %s | %s |\n", state.label, cell(containers, "ms").c_str(),
                    cell(later, "ms").c_str(), cell(road, "ms").c_str(), cell(memory, "KiB").c_str());
        std::fflush(stdout);
        if (split) {
            create.theirs = copy.theirs = containers.theirs;
            splits.push_back("| " + std::string(state.label) + " | " + cell(containers, "ms") + " | " +
                             cell(create, "ms") + " | " + cell(copy, "ms") + " |\n");
        }
    }
    std::printf("\nEach cell: the ratio of the medians of %d rounds (ours / DCMTK's), then the two medians.\n", rounds);
    std::printf(
        "\nA first create + save, split; every column against the same dcmpstat read + write:\n\n"
        "| state | create + save | create alone | a deep copy of the data set read (the elements save builds) "
        "|\n|---|---|---|---|\n");
    for (const std::string& line : splits) std::printf("%s", line.c_str());
    return 0;
}

}  // namespace
}  // namespace refcntr::bench

int main(int argc, char** argv) {
    using namespace refcntr::bench;
    try {
        if (argc == 5 && std::string(argv[1]) == "--run") return runRoad(argv[2], argv[3], std::atoi(argv[4]));
        const std::string usage = "usage: road_benchmark [--rounds N] [--files DIR]";
        int rounds = 5;
        std::string directory = "/tmp";
        for (int i = 1; i + 1 < argc; i += 2) {
            const std::string option = argv[i];
            if (option == "--rounds")
                rounds = std::max(1, std::atoi(argv[i + 1]));
            else if (option == "--files")
                directory = argv[i + 1];
            else
                throw std::runtime_error("unknown option " + option + "; " + usage);
        }
        if (argc % 2 == 0) throw std::runtime_error(usage);
        char self[4096] = {};
        if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0) throw std::runtime_error("cannot find myself");
        return runTable(self, rounds, directory);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "road_benchmark: %s\n", error.what());
        return 1;
    }
}
