// Shared set-up of the compressor suites: the compressor registered, preferences in a fresh
// temporary folder (never the system folder), and the scripted dialog front end installed.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "compressor/compressor_component.h"
#include "platform/dialog_front_end.h"
#include "platform/preferences_directory.h"

class CompressorFixture : public testing::Test {
  protected:
    void SetUp() override {
        ZQN_CompressorRegister();
        char pattern[] = "/tmp/qzkt-prefs-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        directory_ = pattern;
        SetPreferencesDirectory(directory_.c_str());
        SetDialogFrontEnd(&script_);
    }

    void TearDown() override {
        SetDialogFrontEnd(nullptr);
        SetPreferencesDirectory(nullptr);
        std::system(("rm -rf '" + directory_ + "'").c_str());
    }

    std::string PreferencesFile() const { return directory_ + "/KELPreferences.dat"; }

    // The preferences file's bytes; empty when there is none.
    std::vector<uint8_t> ReadPreferencesFile() const {
        std::vector<uint8_t> bytes;
        if (FILE* file = std::fopen(PreferencesFile().c_str(), "rb")) {
            for (int c; (c = std::fgetc(file)) != EOF;)
                bytes.push_back(static_cast<uint8_t>(c));
            std::fclose(file);
        }
        return bytes;
    }

    void WritePreferencesFile(const std::vector<uint8_t>& bytes) const {
        FILE* file = std::fopen(PreferencesFile().c_str(), "wb");
        ASSERT_NE(file, nullptr);
        if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }

    // Four little-endian u32 values, as the preferences file holds them.
    static std::vector<uint8_t> FileBytes(std::vector<uint32_t> values) {
        std::vector<uint8_t> bytes;
        for (uint32_t v : values)
            for (int i = 0; i < 4; ++i)
                bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
        return bytes;
    }

    std::string directory_;
    ScriptedDialogFrontEnd script_;
};
