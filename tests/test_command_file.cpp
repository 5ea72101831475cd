// The number reader, the command file's field reader, writer and safe save.
#include "base/Numbers.h"
#include "base/RunTimeError.h"
#include "files/CodePage.h"
#include "files/CommandFile.h"
#include "files/CommandFileReader.h"
#include "support/Rig.h"

#include <QDir>
#include <QFileInfo>

#include <cmath>
#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A field read as a byte, a whole number, a flag (T or F) and a text: "byte|whole|flag|text",
// each the value or E and the error number; "-" where want has "-".
QString readAs(const QByteArray& field, const QString& want) {
    QStringList read, wanted = want.split(u'|');
    for (int kind = 0; kind < 4; ++kind) {
        CommandFileReader reader(field);
        int number = 0;
        bool flag = false;
        QString text;
        const int error = kind == 0   ? reader.byteValue(number)
                          : kind == 1 ? reader.wholeNumber(number)
                          : kind == 2 ? reader.flag(flag)
                                      : reader.text(text);
        read << (wanted.value(kind) == u"-" ? u"-"_s
                 : error != 0               ? u"E%1"_s.arg(error)
                 : kind == 2                ? QString(flag ? u'T' : u'F')
                 : kind == 3                ? text
                                            : QString::number(number));
    }
    return read.join(u'|');
}

CommandFile::Read readAll(const QByteArray& bytes) {
    CommandFileReader reader(bytes);
    return CommandFile::read(reader);
}

} // namespace

TEST(NumericValue, ReadsDecimalHexOctalAndStopsAtTheFirstStrangeCharacter) {
    // clang-format off
    const std::pair<const char*, double> cases[] = {
        {"3", 3},     {"&hFF", 255},  {"&HFF", 255},    {"&hff", 255},    {"&h100", 256},
        {"&o17", 15}, {"&O777", 511}, {"255.9", 255.9}, {"-0.5", -0.5},   {"12abc", 12},
        {" 31", 31},  {"1 2", 12},    {"0 3", 3},       {"\t4\n2", 42},   {"+7", 7},
        {"2.9", 2.9}, {"1e3", 1000},  {"1D2", 100},     {"2.5d-1", 0.25}, {"1e", 1},
        {".5", 0.5},  {"- 5", -5},    {"& h 1f", 31},   {"&h1G", 1},      {"", 0},
        {"abc", 0},   {"Stop", 0},    {"Constans", 0},  {"-", 0},         {"&", 0},
        {"&x1", 0},   {"&h", 0},      {"1.2.3", 1.2},   {"\r5", 0},       {"1, 2, 3", 1},
        {"1e-99999", 0}, {"4294967296", 4294967296.0}};
    // clang-format on
    for (const auto& [text, value] : cases)
        EXPECT_DOUBLE_EQ(numericValue(QString::fromLatin1(text)), value) << text;
    // Absurd inputs: infinity or zero, never a crash.
    EXPECT_TRUE(std::isinf(numericValue(QString(5000, u'9'))));
    EXPECT_EQ(numericValue(u"-1e999999999999999999"_s), -INFINITY);
    EXPECT_EQ(numericValue(u"0."_s + QString(400, u'0') + u"1"_s), 0.0);
    EXPECT_TRUE(std::isinf(numericValue(u"&h"_s + QString(400, u'F'))));
    for (const auto& [n, text] : {std::pair{1, " 1"}, {0, " 0"}, {1000, " 1000"}, {-3, "-3"}})
        EXPECT_EQ(numberText(n), QLatin1String(text)); // a blank in place of the plus sign
}

TEST(CommandFileReader, FollowsTheFieldRules) {
    CommandFileReader reader(" \t\"a, b\" ignored, \"c\"\r\n" // quoted, the rest skipped
                             "plain text   \r\n"              // trailing blanks go
                             "x,y\n"                          // comma, then a lone LF
                             "\"multi\r\nline\"\r"            // a quote runs across lines
                             ",\"\"\r\n"                      // an empty field, an empty text
                             "12 , \"34\" , &h1F\r\n"         // numbers in texts stay texts
                             "\"unclosed");
    QStringList read;
    for (QString value; reader.text(value) == 0;)
        read << value;
    EXPECT_EQ(read, QStringList({"a, b", "c", "plain text", "x", "y", "multi\r\nline", "", "", "12",
                                 "34", "&h1F"}));
    QString value = u"kept"_s; // the quote never closes: 62, the value left alone
    EXPECT_EQ(reader.text(value), RunTimeError::InputPastEndOfFile);
    EXPECT_EQ(value, u"kept"_s);

    // A quoted number counts as the number; an empty field is 0 or false, an empty text is
    // not; fractions round half to even; a byte is 0 to 255, a whole number 32 bits.
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"\" 12 \"\r\n", "12|12|T| 12 "}, {"\r\n", "0|0|F|"},        {"\"\"\r\n", "E13|E13|E13|"},
        {"   ", "E62|E62|E62|E62"},       {"2.5", "2|2|T|2.5"},      {"3.5", "4|4|-|-"},
        {"-0.5", "0|0|-|-"},              {"254.5", "254|254|-|-"},  {"255.5", "E6|256|-|-"},
        {"255.49", "255|255|-|-"},        {"300", "E6|300|T|300"},   {"-1", "E6|-1|T|-"},
        {"&hFF", "255|255|-|-"},          {"&o17", "15|15|-|-"},     {"1e2  \t", "100|100|-|-"},
        {"+7", "7|7|-|-"},                {"2147483647", "E6|2147483647|-|-"},
        {"-2147483648", "E6|-2147483648|-|-"},  {"2147483648", "E6|E6|-|-"}, {"1e999", "E6|E6|-|-"},
        {"12abc", "E13|E13|E13|12abc"},   {"1 2", "E13|E13|-|-"},    {"Stop", "E13|E13|E13|Stop"},
        {"\"Stop\"", "E13|E13|E13|Stop"}, {"&h", "E13|E13|-|-"},     {"1e", "E13|E13|-|-"},
        {".", "E13|E13|-|-"},             {"#TRUE#", "E13|E13|T|#TRUE#"}, {"#FALSE#", "-|-|F|-"},
        {"  #TRUE#  ", "-|-|T|-"},        {"1", "1|1|T|-"},          {"0", "0|0|F|-"},
        {"0.0", "-|-|F|-"},               {"0.25", "-|-|T|-"},       {"&h0", "-|-|F|-"},
        {"\"1\"", "1|1|T|1"},             {"#true#", "-|-|E13|-"},   {"True", "-|-|E13|-"},
        {"\"#TRUE#\"", "-|-|E13|#TRUE#"}};
    // clang-format on
    for (const auto& [field, want] : cases)
        EXPECT_EQ(readAs(field, QString::fromLatin1(want)), QLatin1String(want)) << field;

    // A field may take at most kMaxFieldBytes of the file: 14, even in a 1 GiB file of zero
    // bytes (sparse: no disk is used), one line with no end.
    const QByteArray longLine(CommandFileReader::kMaxFieldBytes + 10, 'x');
    const QByteArray blanks(CommandFileReader::kMaxFieldBytes + 10, ' ');
    for (const QByteArray& field :
         {longLine, '"' + longLine + '"', "\"ok\"" + longLine, blanks + '1'})
        EXPECT_EQ(readAs(field, u"-|-|-|E14"_s), u"-|-|-|E14"_s);
    const QByteArray justFits(CommandFileReader::kMaxFieldBytes - 2, 'y');
    EXPECT_EQ(readAs('"' + justFits + '"', u"-|-|-|"_s).size(), justFits.size() + 6);
    Scratch scratch;
    QFile huge(scratch.path("huge.scm"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly) && huge.resize(qint64(1) << 30));
    ASSERT_EQ(reader.open(huge.fileName()), 0);
    EXPECT_EQ(reader.text(value), RunTimeError::OutOfStringSpace);

    // Open failures have their error numbers; a failed open leaves nothing to read.
    ASSERT_TRUE(QDir(scratch.dir.path()).mkdir(u"folder.scm"_s));
    ASSERT_TRUE(writeFile(scratch.path("good.scm"), "\"x\"\r\n"));
    // clang-format off
    const std::pair<QString, int> opens[] = {
        {QString(), RunTimeError::BadFileName},
        {scratch.path("none.scm"), RunTimeError::FileNotFound},
        {scratch.path("no/such/folder/a.scm"), RunTimeError::PathNotFound},
        {scratch.path("folder.scm"), RunTimeError::PathFileAccess},
        {scratch.path("") + u'/', RunTimeError::BadFileName}};
    // clang-format on
    for (const auto& [path, error] : opens) {
        ASSERT_EQ(reader.open(scratch.path("good.scm")), 0);
        EXPECT_EQ(reader.open(path), error) << path.toStdString();
        EXPECT_EQ(reader.text(value), RunTimeError::InputPastEndOfFile);
    }
}

TEST(CommandFile, WritesTheExampleFileByteForByteAndReadsEveryValueBack) {
    CommandFile file; // the state right after a first start
    file.title = u"test.scm"_s;
    const QByteArray expected =
        "\"Tamsolvix file V2\"\r\n1\r\n1000\r\n9\r\n\"test.scm\"\r\n"
        "#FALSE#\r\n#FALSE#\r\n#FALSE#\r\n#TRUE#\r\n"
        "\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n"
        "\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n#TRUE#\r\n\" \"\r\n";
    Scratch scratch;
    ASSERT_EQ(file.save(scratch.path("test.scm")), 0);
    EXPECT_EQ(contents(scratch.path("test.scm")), expected);

    CommandFile saved{255, 65535, 0, u"Mérés, 2.scm"_s, true, true, false, false};
    saved.cells = {"&hA0", "  12,13  ", "", "Dump1", "#TRUE#", "1, 0", "\t tab \t", "Stop"};
    saved.analysis = false;
    saved.note = u"Ár: 5 €, „idézet” – két\r\nsor, vége "_s;
    ASSERT_EQ(saved.save(scratch.path("all.scm")), 0);
    CommandFileReader reader;
    ASSERT_EQ(reader.open(scratch.path("all.scm")), 0);
    const CommandFile::Read read = CommandFile::read(reader);
    EXPECT_EQ(std::pair(read.error, read.lines), std::pair(0, 19));
    EXPECT_EQ(read.file, saved);
    QString past;
    EXPECT_EQ(reader.text(past), RunTimeError::InputPastEndOfFile);

    // Every character of the code page survives, and only those are held.
    QByteArray all(256, '\0');
    for (int i = 0; i < 256; ++i)
        all[i] = static_cast<char>(i);
    const QString decoded = CodePage::decode(all);
    EXPECT_EQ(CodePage::firstUnheld(decoded), -1);
    EXPECT_EQ(CodePage::encode(decoded), all);
    EXPECT_EQ(decoded[0x80], QChar(0x20AC));
    EXPECT_EQ(CodePage::firstUnheld(u"ab\u0080"_s), 2); // € is 0x80, not U+0080
    EXPECT_EQ(CodePage::encode(u"Ω"_s), QByteArray("?"));
}

TEST(CommandFile, ShortAndWrongFilesFailAtTheirFirstBadLineAndUnreadableTextsAreRefused) {
    const CommandFile saved;
    const QByteArray good = saved.bytes();
    const QList<QByteArray> lines = good.split('\n');
    // A file shorter than 19 lines fails with 62 at the first missing line.
    for (const int keep : {0, 1, 5, 18})
        EXPECT_EQ(readAll(lines.mid(0, keep).join('\n')).error, RunTimeError::InputPastEndOfFile);
    const CommandFile::Read whole = readAll(good.chopped(2)); // the last line end is optional
    EXPECT_EQ(whole.error, 0);
    EXPECT_EQ(whole.file, saved);
    // clang-format off
    const std::tuple<int, QByteArray, int> broken[] = {
        {2, "300", RunTimeError::Overflow},         {4, "256", RunTimeError::Overflow},
        {2, "\"one\"", RunTimeError::TypeMismatch}, {6, "\"Stop\"", RunTimeError::TypeMismatch},
        {9, "Yes", RunTimeError::TypeMismatch},     {18, "\" \"", RunTimeError::TypeMismatch},
        {3, "1e10", RunTimeError::Overflow}, {3, "65536", RunTimeError::InvalidPropertyValue},
        {1, "2", CommandFile::kNotCompatible}}; // a number reads as its text: not the header
    // clang-format on
    for (const auto& [line, content, error] : broken) {
        QList<QByteArray> changed = lines;
        changed[line - 1] = content + '\r';
        const CommandFile::Read read = readAll(changed.join('\n'));
        EXPECT_EQ(std::pair(read.error, read.lines), std::pair(error, line - 1)) << line;
    }

    // Texts that would read back differently are refused.
    Scratch scratch;
    // What: a cell's index, -1 the note, -2 the title.
    const std::tuple<int, QString, const char*> refused[] = {
        {-1, "the \"big\" one",
         "Cannot save the commands: the note contains a double quote (\"), "
         "which a command file cannot hold. Change it and save again."},
        {-2, "a\"b.scm", "the file name contains"},
        {-2, "a\"b.scm", "Choose another name."},
        {5, "\"", "cell D2 contains a double quote"},
        {2, "R = 5 Ω", "cell C3 contains the character \"Ω\""},
        {-1, "chip 🔥 hot", "the character \"🔥\""},
        {-1, QString(CommandFile::kMaxTextLength + 1, u'x'), "the note is longer than 65535"},
        {-1, QString(CommandFile::kMaxTextLength, u'x'), ""}};
    for (const auto& [what, text, problem] : refused) {
        CommandFile file;
        (what == -1 ? file.note : what == -2 ? file.title : file.cells[std::size_t(what)]) = text;
        EXPECT_TRUE(file.saveProblem().contains(QString::fromUtf8(problem))) << problem;
        EXPECT_EQ(file.save(scratch.path("x.scm")), *problem ? CommandFile::kRefused : 0);
        EXPECT_EQ(QFile::exists(scratch.path("x.scm")), !*problem);
    }
}

TEST(CommandFile, FailedSaveLeavesThePreviousFileIntact) {
    Scratch scratch;
    const QString path = scratch.path("kept.scm");
    CommandFile previous;
    ASSERT_EQ(previous.save(path), 0);
    const QByteArray before = contents(path);
    // The write fails half-way, stopped by the file size limit: past the device's buffer (a long
    // note), and inside it (a small file, written out only when the save is complete).
    for (const auto& [limit, note] : {std::pair{4096, 20000}, std::pair{64, 2}}) {
        CommandFile larger = previous;
        larger.note = QString(note, u'n');
        rlimit old{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
        const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = old;
        small.rlim_cur = static_cast<rlim_t>(limit);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        QString why;
        const int error = larger.save(path, Streams::Refuse, &why);
        setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, oldSignal);
        EXPECT_EQ(error, RunTimeError::DiskFull) << limit;
        EXPECT_EQ(why, QString::fromLocal8Bit(std::strerror(EFBIG))) << limit;
        EXPECT_EQ(contents(path), before) << limit;
        EXPECT_EQ(QDir(scratch.dir.path()).entryList(QDir::Files | QDir::Hidden),
                  QStringList{u"kept.scm"_s}); // no temporary file left behind
    }
    // Saving where no file can be. A named pipe is never replaced (the window may not write one:
    // it would wait for a reader); a link to a file stays a link, and the file it names is saved.
    ASSERT_TRUE(QDir(scratch.dir.path()).mkdir(u"sub.scm"_s));
    ASSERT_EQ(mkfifo(QFile::encodeName(scratch.path("pipe.scm")).constData(), 0600), 0);
    for (const auto& [name, error] : {std::pair{"no/folder/x.scm", RunTimeError::PathNotFound},
                                      {"sub.scm", RunTimeError::PathFileAccess},
                                      {"pipe.scm", RunTimeError::PathFileAccess}})
        EXPECT_EQ(previous.save(scratch.path(name)), error) << name;
    EXPECT_EQ(saveTarget(scratch.path("pipe.scm")), SaveTarget::Stream);
    ASSERT_TRUE(QFile::link(path, scratch.path("link.scm")));
    CommandFile other = previous;
    other.port = 2;
    ASSERT_EQ(other.save(scratch.path("link.scm")), 0);
    EXPECT_TRUE(QFileInfo(scratch.path("link.scm")).isSymLink());
    EXPECT_EQ(contents(path), other.bytes());

    // Only the exact name is an existing file.
    ASSERT_TRUE(writeFile(scratch.path(".hidden.scm"), "x"));
    // clang-format off
    for (const auto& [name, exists] : {std::pair{"kept.scm", true}, {".hidden.scm", true},
             {"Kept.scm", false}, {"sub.scm", false}, {"*.scm", false}, {"none/kept.scm", false},
             {"", false}})
        EXPECT_EQ(existsWithExactName(*name ? scratch.path(name) : QString()), exists) << name;
    // clang-format on

    // Permissions stop the read and the save, and the file is kept (they do not stop root).
    if (geteuid() != 0) {
        const QByteArray kept = contents(path);
        ASSERT_TRUE(QFile::setPermissions(path, QFileDevice::WriteOwner));
        CommandFileReader reader;
        EXPECT_EQ(reader.open(path), RunTimeError::PermissionDenied);
        ASSERT_TRUE(QFile::setPermissions(scratch.dir.path(), QFile::ReadOwner | QFile::ExeOwner));
        EXPECT_EQ(previous.save(path), RunTimeError::PermissionDenied);
        QFile::setPermissions(scratch.dir.path(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
        EXPECT_EQ(contents(path), kept);
    }
}
