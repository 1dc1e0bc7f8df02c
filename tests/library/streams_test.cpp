// Formatted output and input, streams, and the folder that no path leaves.
#include "library/library_fixture.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace pelorus {
namespace {

using testing::HasSubstr;

TEST_F(Library, PrintsNumbersOfTheMachinesTypes) {
    EXPECT_EQ(printed("%d %u %ld %lu", {-1, -1, -1, -1}), "-1 4294967295 -1 4294967295");
    EXPECT_EQ(printed("%lld %llx %jd %zu", {-1LL, -1LL, 5LL, -1}), "-1 ffffffffffffffff 5 4294967295");
    EXPECT_EQ(printed("%hhd %hhu %hd %hx", {255, -1, 65535, -1}), "-1 255 -1 ffff");
    EXPECT_EQ(printed("[%5d|%-5d|%05d|%+.3d|%#x|%#o]", {42, 42, 42, 7, 255, 8}),
              "[   42|42   |00042|+007|0xff|010]");
    EXPECT_EQ(printed("[%*d|%-*d|%*d]", {4, 1, 4, 2, -4, 3}), "[   1|2   |3   ]");
    EXPECT_EQ(printed("%.2f %e %g %Lf %a", {2.5, 1e10, 1e-5, 1.0, 1.0}),
              "2.50 1.000000e+10 1e-05 1.000000 0x1p+0");
    EXPECT_EQ(printed("%f %F %5.1f", {1.0 / 0.0, -0.0, 3.14159}), "inf -0.000000   3.1");
    EXPECT_EQ(printed("%c%c%%", {'a', 0}), std::string("a\0%", 3));
    EXPECT_EQ(printed("%p %p", {0u, 0x1234u}), "(nil) 0x1234");
}

TEST_F(Library, PrintsTextsAsFarAsThePrecisionAllows) {
    const ADDRESS place = block(3); // without a zero byte
    memcpy(write_place(machine, place, 3), "abc", 3);
    EXPECT_EQ(printed("[%.3s|%.0s|%5.2s|%-4.1s]", {place, place, place, place}), "[abc||   ab|a   ]");
    EXPECT_THROW(printed("%s", {place}), Trap);
    EXPECT_THROW(printed("%s", {0u}), Trap);
}

TEST_F(Library, FormatsAndValuesMustAgree) {
    EXPECT_THROW(printed("%d", {}), Trap);
    EXPECT_THROW(printed("%d", {1.0}), Trap);
    EXPECT_THROW(printed("%f", {1}), Trap);
    EXPECT_THROW(printed("%d", {1LL}), Trap);
    EXPECT_THROW(printed("%lld", {1}), Trap);
    EXPECT_THROW(printed("100%", {}), Trap);
    EXPECT_THROW(printed("%2$d", {1, 2}), Unsupported);
    EXPECT_THROW(printed("%2147483647d", {1}), Unsupported);
}

TEST_F(Library, StoresTextsWithinTheirRoom) {
    const ADDRESS place = text("xxxxxxxx");
    EXPECT_EQ(number("_snprintf", {place, 4, text("%d"), 12345}), 5);
    EXPECT_EQ(at(place), "123");
    EXPECT_EQ(number("_snprintf", {0u, 0, text("%d"), 12345}), 5);
    EXPECT_THAT(trapped("_sprintf", {place, text("%09d"), 1}), HasSubstr("access"));
    EXPECT_THAT(trapped("___sprintf_chk", {place, 1, 3, text("%d"), 123}), HasSubstr("do not fit"));
    EXPECT_EQ(number("___snprintf_chk", {place, 5, 1, 9, text("%s!"), text("abc")}), 4);
    EXPECT_EQ(at(place), "abc!");
    const ADDRESS count = block(4);
    EXPECT_EQ(printed("12%n34", {count}), "1234");
    EXPECT_EQ(load_at<int32_t>(count), 2);
}

TEST_F(Library, ListsOfValuesLieInMemory) {
    // int, then long long and double, which are aligned to 8, then a pointer.
    const ADDRESS block_of_values = block(28), list = block(4), place = block(60);
    store_at<int32_t>(block_of_values, 7);
    store_at<int64_t>(block_of_values + 8, -8);
    store_at<double>(block_of_values + 16, 0.5);
    store_at<ADDRESS>(block_of_values + 24, text("end"));
    store_at<ADDRESS>(list, block_of_values);
    GUEST_VALUE argument;
    argument.kind = GUEST_VALUE::STRUCTURE;
    argument.structure_size = 4;
    argument.address = list;
    EXPECT_EQ(number("_vsprintf", {place, text("%d %lld %g %s"), ARG(argument)}), 12);
    EXPECT_EQ(at(place), "7 -8 0.5 end");
    EXPECT_THAT(trapped("_vsprintf", {place, text("%d %lld %g %s %d"), ARG(argument)}), HasSubstr("access"));
}

TEST_F(Library, ScansTexts) {
    const ADDRESS a = block(8), b = block(8), c = block(8);
    EXPECT_EQ(number("_sscanf", {text(" 12,-0x1F rest"), text("%d,%i %3s"), a, b, c}), 3);
    EXPECT_EQ(load_at<int32_t>(a), 12);
    EXPECT_EQ(load_at<int32_t>(b), -31);
    EXPECT_EQ(at(c), "res");
    EXPECT_EQ(number("_sscanf", {text("3.5e1x 2.5"), text("%lfx%f"), a, b}), 2);
    EXPECT_EQ(load_at<double>(a), 35.0);
    EXPECT_EQ(load_at<float>(b), 2.5f);
    EXPECT_EQ(number("_sscanf", {text("abc123]"), text("%[a-c]%*2d%n%c"), c, a, b}), 2);
    EXPECT_EQ(at(c), "abc");
    EXPECT_EQ(load_at<int32_t>(a), 5);
    EXPECT_EQ(load_at<char>(b), '3');
    EXPECT_EQ(number("_sscanf", {text("]x"), text("%[]]"), c}), 1);
    EXPECT_EQ(number("_sscanf", {text("123456789012"), text("%lld"), a}), 1);
    EXPECT_EQ(load_at<int64_t>(a), 123456789012);
    EXPECT_EQ(number("_sscanf", {text("x"), text("%d"), a}), 0);
    EXPECT_EQ(number("_sscanf", {text("  "), text("%d"), a}), -1);
    EXPECT_EQ(number("_sscanf", {text("1 x"), text("%d %d"), a, b}), 1);
    EXPECT_EQ(number("_sscanf", {text("1"), text("%d %d"), a, b}), 1);
    EXPECT_THAT(trapped("_sscanf", {text("12345678"), text("%s"), c}), HasSubstr("access"));
}

TEST_F(Library, FilesAreWrittenAndReadBack) {
    ADDRESS file = word("_fopen", {text("a.txt"), text("w")});
    ASSERT_NE(file, 0u);
    EXPECT_GE(number("_fputs", {text("one\ntwo"), file}), 0);
    EXPECT_EQ(number("_fprintf", {file, text(" %d\n"), 3}), 3);
    EXPECT_EQ(number("_fclose", {file}), 0);
    EXPECT_THAT(trapped("_fputc", {'x', file}), HasSubstr("no open stream"));

    file = word("_fopen", {text("./a.txt"), text("r")});
    ASSERT_NE(file, 0u);
    const ADDRESS line = block(16);
    EXPECT_EQ(word("_fgets", {line, 16, file}), line);
    EXPECT_EQ(at(line), "one\n");
    EXPECT_EQ(number("_fgetc", {file}), 't');
    EXPECT_EQ(number("_ungetc", {'T', file}), 'T');
    EXPECT_EQ(number("_fscanf", {file, text("%s %d"), line, block(4)}), 2);
    EXPECT_EQ(at(line), "Two");
    EXPECT_EQ(number("_fseek", {file, -2, 2}), 0);
    EXPECT_EQ(number("_ftell", {file}), 8);
    EXPECT_EQ(number("_fread", {line, 2, 4, file}), 1);
    EXPECT_EQ(number("_feof", {file}), 1);
    EXPECT_EQ(number("_fputc", {'x', file}), -1);
    EXPECT_EQ(number("_remove", {text("a.txt")}), 0);
    EXPECT_EQ(word("_fopen", {text("a.txt"), text("r")}), 0u);
    EXPECT_EQ(error(), ENOENT);
}

TEST_F(Library, NoPathLeavesTheFolder) {
    namespace fs = std::filesystem;
    const fs::path outside = fs::path(folder).string() + "-outside";
    fs::create_directory(outside);
    std::ofstream(outside / "secret") << "secret";
    fs::create_directory(fs::path(folder) / "inner");
    fs::create_symlink(outside / "secret", fs::path(folder) / "link");
    fs::create_directory_symlink(outside, fs::path(folder) / "folder");
    mkfifo((fs::path(folder) / "pipe").c_str(), 0600);

    const auto opens = [&](std::string_view path, std::string_view mode) {
        return word("_fopen", {text(path), text(mode)}) != 0;
    };
    for (const char* path : {"../x", "inner/../../x", "inner/..", "/etc/passwd", "link", "folder/secret",
                             "pipe", "inner", "", "."})
        EXPECT_FALSE(opens(path, "r")) << path;
    EXPECT_FALSE(opens((outside / "secret").string(), "r"));
    EXPECT_FALSE(opens("folder/new", "w"));
    EXPECT_FALSE(opens("link", "w"));
    EXPECT_NE(number("_rename", {text("link"), text("folder/x")}), 0);
    EXPECT_NE(number("_remove", {text("folder/secret")}), 0);
    EXPECT_EQ(number("_remove", {text("link")}), 0); // the link itself, which is inside
    EXPECT_TRUE(opens("inner/new", "w"));
    EXPECT_TRUE(fs::exists(outside / "secret"));
    EXPECT_FALSE(fs::exists(outside / "new"));
    fs::remove_all(outside);
}

TEST_F(Library, WithoutAFolderThereAreNoFiles) {
    LIBRARY* other = make_library(machine, "");
    std::swap(library, other);
    EXPECT_EQ(word("_fopen", {text("a"), text("w")}), 0u);
    EXPECT_NE(word("_tmpfile", {}), 0u);
    std::swap(library, other);
    release_library(other);
}

TEST_F(Library, StandardStreamsAreVariables) {
    const auto stream = [&](std::string_view name) {
        return load_at<ADDRESS>(find_library_variable(*library, name));
    };
    number("_fputs", {text("to output"), stream("_stdout")});
    number("_putc", {'e', stream("_stderr")});
    EXPECT_EQ(machine.output[1], "to output");
    EXPECT_EQ(machine.output[2], "e");
    EXPECT_EQ(number("_fgetc", {stream("_stdout")}), -1);
    EXPECT_EQ(number("_fclose", {stream("_stdout")}), 0);
    EXPECT_THAT(trapped("_puts", {text("x")}), HasSubstr("closed"));
    EXPECT_EQ(find_library_variable(*library, "_something"), 0u);
    EXPECT_EQ(find_library_function("_something"), nullptr);
}

} // namespace
} // namespace pelorus
