// Reads images through the Vision seam and writes what the OCR endpoint would answer.
//
// usage: ocr_bench WORKERS REMEMBERED ROUNDS OUT_DIR IMAGE...
//
// WORKERS threads, 0 for the usual number; lines REMEMBERED between images, 0 for none. Every image is
// read ROUNDS times; the fastest round counts, since whatever else runs on the machine only ever adds to it.
// Prints a JSON object: seconds per image, seconds to load the model, peak memory in MiB, processor
// seconds.
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <boost/json.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "json/JSONEncoder.h"
#include "ocr/OCR.h"
#include "platform/linux/vision/LinuxVision.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string fileContent(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Decodes and reads one image; the whole of what a request costs beside JSON and hashing.
varkel::OCRResponse readImage(varkel::Vision& vision, std::string bytes) {
    const auto image =
        vision.CGImageSourceCreateImageAtIndex(vision.CGImageSourceCreateWithData(std::move(bytes)), 0);
    varkel::VNRecognizeTextRequest text;
    const std::array<varkel::VNRequest, 1> requests{&text};
    varkel::OCRResponse response;
    if (!image || !vision.performRequests(image, requests, {})) return response;
    const auto width = static_cast<double>(vision.CGImageGetWidth(image));
    const auto height = static_cast<double>(vision.CGImageGetHeight(image));
    for (const auto& line : *text.results) {
        const auto& best = line.candidates.front();
        response.results.push_back(
            {best.string, best.confidence, varkel::pixelFrame(line.boundingBox, width, height)});
    }
    return response;
}

/// A white image with one black bar: makes the workers load their models.
std::string tinyImage() {
    std::string pnm = "P5 60 40 255\n" + std::string(60 * 40, '\xff');
    for (std::size_t y = 10; y < 30; ++y) {
        for (std::size_t x = 20; x < 24; ++x) pnm[pnm.size() - 60 * 40 + y * 60 + x] = '\0';
    }
    return pnm;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 6) return EXIT_FAILURE;
    const auto number = [&](int i) { return static_cast<unsigned>(std::atoi(arguments[i])); };
    varkel::LinuxVision vision(varkel::LineRecogniser::make, number(1), number(2));
    const std::filesystem::path outDirectory = arguments[4];
    std::filesystem::create_directories(outDirectory);

    const auto loading = Clock::now();
    readImage(vision, tinyImage());
    boost::json::object report{{"load", secondsSince(loading)}};
    boost::json::object seconds;
    for (int i = 5; i < count; ++i) {
        const std::filesystem::path path = arguments[i];
        const std::string bytes = fileContent(path);
        double best = 1e9;
        varkel::OCRResponse response;
        for (unsigned round = 0; round < std::max(1U, number(3)); ++round) {
            const auto start = Clock::now();
            response = readImage(vision, bytes);
            best = std::min(best, secondsSince(start));
        }
        seconds[path.stem().string()] = best;
        std::ofstream(outDirectory / (path.stem().string() + ".json"))
            << varkel::encodeJSON(response).value_or("");
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    report["seconds"] = std::move(seconds);
    report["peak_mib"] = usage.ru_maxrss / 1024;
    report["cpu"] = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                    1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    std::cout << boost::json::serialize(report) << '\n';
    return EXIT_SUCCESS;
}
