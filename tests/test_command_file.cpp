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

// A field read as each kind: the value, or "E" and the error number (T/F for a flag).
QString readAs(char kind, const QByteArray& field) {
    CommandFileReader reader(field);
    int number = 0;
    bool flag = false;
    QString text;
    const int error = kind == 'b'   ? reader.byteValue(number)
                      : kind == 'w' ? reader.wholeNumber(number)
                      : kind == 'f' ? reader.flag(flag)
                                    : reader.text(text);
    if (error != 0)
        return QStringLiteral("E%1").arg(error);
    return kind == 'f' ? QString(flag ? u'T' : u'F') : kind == 't' ? text : QString::number(number);
}

CommandFile::Read readAll(const QByteArray& bytes) {
    CommandFileReader reader(bytes);
    return CommandFile::read(reader);
}

} // namespace

TEST(NumericValue, ReadsDecimalHexOctalAndStopsAtTheFirstStrangeCharacter) {
    const struct {
        const char* text;
        double value;
    } cases[] = {
        {"3", 3},
        {"&hFF", 255},
        {"&HFF", 255},
        {"&hff", 255},
        {"&h100", 256},
        {"&o17", 15},
        {"&O777", 511},
        {"255.9", 255.9},
        {"-0.5", -0.5},
        {"12abc", 12},
        {" 31", 31},
        {"1 2", 12},
        {"0 3", 3},
        {"\t4\n2", 42},
        {"+7", 7},
        {"2.9", 2.9},
        {"1e3", 1000},
        {"1D2", 100},
        {"2.5d-1", 0.25},
        {"1e", 1},
        {".5", 0.5},
        {"- 5", -5},
        {"& h 1f", 31},
        {"&h1G", 1},
        {"", 0},
        {"abc", 0},
        {"Stop", 0},
        {"Constans", 0},
        {"-", 0},
        {"&", 0},
        {"&x1", 0},
        {"&h", 0},
        {"1.2.3", 1.2},
        {"\r5", 0},
        {"1, 2, 3", 1},
        {"1e-99999", 0},
        {"4294967296", 4294967296.0},
    };
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(numericValue(QString::fromLatin1(c.text)), c.value) << c.text;
    // Absurd inputs: infinity or zero, never a crash.
    EXPECT_TRUE(std::isinf(numericValue(QString(5000, u'9'))));
    EXPECT_EQ(numericValue(QStringLiteral("-1e999999999999999999")), -INFINITY);
    EXPECT_EQ(numericValue(QStringLiteral("0.") + QString(400, u'0') + QStringLiteral("1")), 0.0);
    EXPECT_TRUE(std::isinf(numericValue(QStringLiteral("&h") + QString(400, u'F'))));
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
    QString value = QStringLiteral("kept"); // the quote never closes: 62, the value left alone
    EXPECT_EQ(reader.text(value), RunTimeError::InputPastEndOfFile);
    EXPECT_EQ(value, QStringLiteral("kept"));

    // Each field as a byte (b), a whole number (w), a flag (f) and a text (t); nullptr: not
    // checked. A quoted number counts as the number; an empty field is 0 or false, an empty
    // text is not; fractions round half to even.
    const struct {
        const char *field, *b = nullptr, *w = nullptr, *f = nullptr, *t = nullptr;
    } cases[] = {
        {"\" 12 \"\r\n", "12", "12", "T", " 12 "},
        {"\r\n", "0", "0", "F", ""},
        {"\"\"\r\n", "E13", "E13", "E13", ""},
        {"   ", "E62", "E62", "E62", "E62"},
        {"2.5", "2", "2", "T", "2.5"},
        {"3.5", "4", "4", nullptr, nullptr},
        {"-0.5", "0", "0", nullptr, nullptr},
        {"254.5", "254", "254", nullptr, nullptr},
        {"255.5", "E6", "256", nullptr, nullptr},
        {"255.49", "255", "255", nullptr, nullptr},
        {"300", "E6", "300", "T", "300"},
        {"-1", "E6", "-1", "T", nullptr},
        {"&hFF", "255", "255", nullptr, nullptr},
        {"&o17", "15", "15", nullptr, nullptr},
        {"1e2  \t", "100", "100"},
        {"+7", "7", "7", nullptr, nullptr},
        {"2147483647", "E6", "2147483647"},
        {"-2147483648", "E6", "-2147483648"},
        {"2147483648", "E6", "E6"},
        {"1e999", "E6", "E6"},
        {"12abc", "E13", "E13", "E13", "12abc"},
        {"1 2", "E13", "E13"},
        {"Stop", "E13", "E13", "E13", "Stop"},
        {"\"Stop\"", "E13", "E13", "E13", "Stop"},
        {"&h", "E13", "E13"},
        {"1e", "E13", "E13"},
        {".", "E13", "E13"},
        {"#TRUE#", "E13", "E13", "T", "#TRUE#"},
        {"#FALSE#", nullptr, nullptr, "F"},
        {"  #TRUE#  ", nullptr, nullptr, "T"},
        {"1", "1", "1", "T"},
        {"0", "0", "0", "F"},
        {"0.0", nullptr, nullptr, "F"},
        {"0.25", nullptr, nullptr, "T"},
        {"&h0", nullptr, nullptr, "F"},
        {"\"1\"", "1", "1", "T", "1"},
        {"#true#", nullptr, nullptr, "E13"},
        {"True", nullptr, nullptr, "E13"},
        {"\"#TRUE#\"", nullptr, nullptr, "E13", "#TRUE#"},
    };
    for (const auto& c : cases)
        for (const auto& [kind, want] : {std::pair{'b', c.b}, {'w', c.w}, {'f', c.f}, {'t', c.t}})
            if (want) {
                EXPECT_EQ(readAs(kind, c.field), QString::fromUtf8(want)) << c.field << " " << kind;
            }
}

TEST(CommandFileReader, HugeFieldsFailWithoutReadingThemWhole) {
    const QByteArray longLine(CommandFileReader::kMaxFieldBytes + 10, 'x');
    const QByteArray blanks(CommandFileReader::kMaxFieldBytes + 10, ' ');
    for (const QByteArray& field :
         {longLine, '"' + longLine + '"', "\"ok\"" + longLine, blanks + '1'})
        EXPECT_EQ(readAs('t', field), QStringLiteral("E14"));
    const QByteArray justFits(CommandFileReader::kMaxFieldBytes - 2, 'y');
    EXPECT_EQ(readAs('t', '"' + justFits + '"').size(), justFits.size());

    // A 1 GiB file (sparse: no disk is used) of zero bytes, one line with no end.
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("huge.scm"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(qint64(1) << 30));
    file.close();
    CommandFileReader reader;
    QString text;
    ASSERT_EQ(reader.open(path), 0);
    EXPECT_EQ(reader.text(text), RunTimeError::OutOfStringSpace);
}

TEST(CommandFileReader, OpenFailuresHaveTheirErrorNumbers) {
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("folder.scm")));
    const QString good = dir.filePath(QStringLiteral("good.scm"));
    ASSERT_TRUE(writeFile(good, "\"x\"\r\n"));
    CommandFileReader reader;
    const std::pair<QString, int> cases[] = {
        {dir.filePath(QStringLiteral("none.scm")), RunTimeError::FileNotFound},
        {dir.filePath(QStringLiteral("no/such/folder/a.scm")), RunTimeError::PathNotFound},
        {dir.filePath(QStringLiteral("folder.scm")), RunTimeError::PathFileAccess},
        {QString(), RunTimeError::BadFileName},
        {dir.path() + QStringLiteral("/"), RunTimeError::BadFileName}};
    for (const auto& [path, error] : cases) {
        ASSERT_EQ(reader.open(good), 0);
        EXPECT_EQ(reader.open(path), error) << path.toStdString();
        QString text; // a failed open leaves nothing to read, not the previous file
        EXPECT_EQ(reader.text(text), RunTimeError::InputPastEndOfFile);
    }
}

TEST(CommandFile, WritesTheExampleFileByteForByte) {
    CommandFile file; // the state right after a first start
    file.title = QStringLiteral("test.scm");
    const QByteArray expected =
        "\"Tamsolvix file V2\"\r\n1\r\n1000\r\n9\r\n\"test.scm\"\r\n"
        "#FALSE#\r\n#FALSE#\r\n#FALSE#\r\n#TRUE#\r\n"
        "\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n"
        "\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n#TRUE#\r\n\" \"\r\n";
    EXPECT_EQ(file.bytes(), expected);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("test.scm"));
    ASSERT_EQ(file.save(path), 0);
    EXPECT_EQ(contents(path), expected);
}

TEST(CommandFile, SavedValuesReadBackUnchanged) {
    CommandFile saved{255, 65535, 0, QStringLiteral("Mérés, 2.scm"), true, true, false, false};
    saved.cells = {"&hA0", "  12,13  ", "", "Dump1", "#TRUE#", "1, 0", "\t tab \t", "Stop"};
    saved.analysis = false;
    saved.note = QStringLiteral("Ár: 5 €, „idézet” – két\r\nsor, vége ");
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("all.scm"));
    ASSERT_EQ(saved.save(path), 0);
    CommandFileReader reader;
    ASSERT_EQ(reader.open(path), 0);
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
    EXPECT_EQ(CodePage::firstUnheld(QStringLiteral("ab\u0080")), 2); // € is 0x80, not U+0080
    EXPECT_EQ(CodePage::encode(QStringLiteral("Ω")), QByteArray("?"));
}

TEST(CommandFile, RefusesTextsThatWouldReadBackDifferently) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("refused.scm"));
    const auto refusal = [&](auto change) {
        CommandFile file;
        change(file);
        EXPECT_EQ(file.save(path), CommandFile::kRefused);
        EXPECT_FALSE(QFile::exists(path));
        return file.saveProblem();
    };
    EXPECT_EQ(refusal([](CommandFile& f) { f.note = QStringLiteral("the \"big\" one"); }),
              QStringLiteral("Cannot save the commands: the note contains a double quote (\"), "
                             "which a command file cannot hold. Change it and save again."));
    const QString title = refusal([](CommandFile& f) { f.title = QStringLiteral("a\"b.scm"); });
    EXPECT_TRUE(title.contains(QStringLiteral("the file name contains")));
    EXPECT_TRUE(title.endsWith(QStringLiteral("Choose another name.")));
    const std::pair<std::function<void(CommandFile&)>, const char*> parts[] = {
        {[](CommandFile& f) { f.cells[5] = QStringLiteral("\""); },
         "cell D2 contains a double quote"},
        {[](CommandFile& f) { f.cells[2] = QStringLiteral("R = 5 Ω"); },
         "cell C3 contains the character \"Ω\""},
        {[](CommandFile& f) { f.note = QStringLiteral("chip 🔥 hot"); }, "the character \"🔥\""},
        {[](CommandFile& f) { f.note = QString(CommandFile::kMaxTextLength + 1, u'x'); },
         "the note is longer than 65535"}};
    for (const auto& [change, problem] : parts)
        EXPECT_TRUE(refusal(change).contains(QString::fromUtf8(problem))) << problem;
    CommandFile longest;
    longest.note = QString(CommandFile::kMaxTextLength, u'x');
    EXPECT_EQ(longest.saveProblem(), QString());
}

TEST(CommandFile, ShortAndWrongFilesFailAtTheirFirstBadLine) {
    const CommandFile saved;
    const QByteArray good = saved.bytes();
    const QList<QByteArray> lines = good.split('\n');
    // A file shorter than 19 lines fails with 62 at the first missing line.
    for (const int keep : {0, 1, 5, 18})
        EXPECT_EQ(readAll(lines.mid(0, keep).join('\n')).error, RunTimeError::InputPastEndOfFile);
    const CommandFile::Read whole = readAll(good.chopped(2)); // the last line end is optional
    EXPECT_EQ(whole.error, 0);
    EXPECT_EQ(whole.file, saved);
    const struct {
        int line;
        QByteArray content;
        int error;
    } broken[] = {
        {2, "300", RunTimeError::Overflow},
        {4, "256", RunTimeError::Overflow},
        {2, "\"one\"", RunTimeError::TypeMismatch},
        {6, "\"Stop\"", RunTimeError::TypeMismatch},
        {9, "Yes", RunTimeError::TypeMismatch},
        {18, "\" \"", RunTimeError::TypeMismatch},
        {3, "1e10", RunTimeError::Overflow},
        {3, "65536", RunTimeError::InvalidPropertyValue},
        {1, "2", CommandFile::kNotCompatible}, // a number reads as its text: not the header
    };
    for (const auto& b : broken) {
        QList<QByteArray> changed = lines;
        changed[b.line - 1] = b.content + '\r';
        const CommandFile::Read read = readAll(changed.join('\n'));
        EXPECT_EQ(std::pair(read.error, read.lines), std::pair(b.error, b.line - 1)) << b.line;
    }
}

TEST(CommandFile, FailedSaveLeavesThePreviousFileIntact) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("kept.scm"));
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
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                  QStringList{QStringLiteral("kept.scm")}); // no temporary file left behind
    }

    // Saving where no file can be. A named pipe is never replaced (the window may not write one:
    // it would wait for a reader); a link to a file stays a link, and the file it names is saved.
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("sub.scm")));
    const QString pipe = dir.filePath(QStringLiteral("pipe.scm"));
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const auto& [name, error] : {std::pair{"no/folder/x.scm", RunTimeError::PathNotFound},
                                      {"sub.scm", RunTimeError::PathFileAccess},
                                      {"pipe.scm", RunTimeError::PathFileAccess}})
        EXPECT_EQ(previous.save(dir.filePath(QLatin1String(name))), error) << name;
    EXPECT_EQ(saveTarget(pipe), SaveTarget::Stream);
    const QString link = dir.filePath(QStringLiteral("link.scm"));
    ASSERT_TRUE(QFile::link(path, link));
    CommandFile other = previous;
    other.port = 2;
    ASSERT_EQ(other.save(link), 0);
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(contents(path), other.bytes());
}

TEST(CommandFile, PermissionsStopReadAndSaveAndKeepTheFile) {
    if (geteuid() == 0)
        GTEST_SKIP() << "running as root: file permissions do not stop root";
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("kept.scm"));
    ASSERT_EQ(CommandFile().save(path), 0);
    const QByteArray before = contents(path);
    CommandFileReader reader;
    ASSERT_TRUE(QFile::setPermissions(path, QFileDevice::WriteOwner));
    EXPECT_EQ(reader.open(path), RunTimeError::PermissionDenied);
    ASSERT_TRUE(QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner));
    CommandFile other;
    other.note = QStringLiteral("other");
    EXPECT_EQ(other.save(path), RunTimeError::PermissionDenied);
    QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    EXPECT_EQ(contents(path), before);
}

TEST(CommandFile, ExistsOnlyUnderTheExactName) {
    QTemporaryDir dir;
    ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral("Case.scm")), "x"));
    ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral(".hidden.scm")), "x"));
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("folder.scm")));
    for (const auto& [name, exists] : {std::pair{"Case.scm", true},
                                       {".hidden.scm", true},
                                       {"case.scm", false},
                                       {"folder.scm", false},
                                       {"*.scm", false},
                                       {"none/Case.scm", false}})
        EXPECT_EQ(existsWithExactName(dir.filePath(QLatin1String(name))), exists) << name;
    EXPECT_FALSE(existsWithExactName(QString()));
}
