#include "base/RunTimeError.h"
#include "files/CodePage.h"
#include "files/CommandFile.h"
#include "files/CommandFileReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

CommandFile::Read readAll(const QByteArray& bytes) {
    CommandFileReader reader(bytes);
    return CommandFile::read(reader);
}

QByteArray fileContent(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

bool writeContent(const QString& path, const QByteArray& content) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

TEST(CommandFile, WritesTheExampleFileByteForByte) {
    CommandFile file; // the state right after a first start
    file.title = QStringLiteral("test.scm");
    const QByteArray expected = "\"Tamsolvix file V2\"\r\n"
                                "1\r\n"
                                "1000\r\n"
                                "9\r\n"
                                "\"test.scm\"\r\n"
                                "#FALSE#\r\n"
                                "#FALSE#\r\n"
                                "#FALSE#\r\n"
                                "#TRUE#\r\n"
                                "\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n"
                                "\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n\"Stop\"\r\n"
                                "#TRUE#\r\n"
                                "\" \"\r\n";
    EXPECT_EQ(file.saveProblem(), QString());
    EXPECT_EQ(file.bytes(), expected);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("test.scm"));
    ASSERT_EQ(file.save(path), 0);
    EXPECT_EQ(fileContent(path), expected);
}

TEST(CommandFile, SavedValuesReadBackUnchanged) {
    CommandFile saved;
    saved.port = 255;
    saved.interval = 65535;
    saved.resetTension = 0;
    saved.title = QStringLiteral("Mérés, 2.scm");
    saved.startBit = true;
    saved.microwire = true;
    saved.startBitAgain = false;
    saved.noffSelected = false;
    saved.cells = {QStringLiteral("&hA0"),      QStringLiteral("  12,13  "), QStringLiteral(""),
                   QStringLiteral("Dump1"),     QStringLiteral("#TRUE#"),    QStringLiteral("1, 0"),
                   QStringLiteral("\t tab \t"), QStringLiteral("Stop")};
    saved.analysis = false;
    saved.note = QStringLiteral("Ár: 5 €, „idézet” – két\r\nsor, vége ");

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("all.scm"));
    ASSERT_EQ(saved.saveProblem(), QString());
    ASSERT_EQ(saved.save(path), 0);

    CommandFileReader reader;
    ASSERT_EQ(reader.open(path), 0);
    const CommandFile::Read read = CommandFile::read(reader);
    ASSERT_EQ(read.error, 0);
    EXPECT_EQ(read.lines, 19);
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
    EXPECT_TRUE(refusal([](CommandFile& f) {
                    f.cells[5] = QStringLiteral("\"");
                }).contains(QStringLiteral("cell D2 contains a double quote")));
    const QString title = refusal([](CommandFile& f) { f.title = QStringLiteral("a\"b.scm"); });
    EXPECT_TRUE(title.contains(QStringLiteral("the file name contains")));
    EXPECT_TRUE(title.endsWith(QStringLiteral("Choose another name.")));
    EXPECT_TRUE(refusal([](CommandFile& f) {
                    f.cells[2] = QStringLiteral("R = 5 Ω");
                }).contains(QStringLiteral("cell C3 contains the character \"Ω\"")));
    EXPECT_TRUE(refusal([](CommandFile& f) {
                    f.note = QStringLiteral("chip 🔥 hot");
                }).contains(QStringLiteral("the character \"🔥\"")));

    CommandFile longNote;
    longNote.note = QString(CommandFile::kMaxTextLength + 1, u'x');
    EXPECT_TRUE(refusal([&](CommandFile& f) {
                    f = longNote;
                }).contains(QStringLiteral("the note is longer than 65535")));
    longNote.note.chop(1);
    EXPECT_EQ(longNote.saveProblem(), QString());
}

TEST(CommandFileReader, FollowsTheFieldRules) {
    CommandFileReader reader(" \t\"a, b\" ignored, \"c\"\r\n" // quoted, the rest skipped
                             "plain text   \r\n"              // trailing blanks go
                             "x,y\n"                          // comma, then a lone LF
                             "\"multi\r\nline\"\r"            // a quote runs across lines
                             ",\"\"\r\n"                      // an empty field, an empty text
                             "12 , \"34\" , &h1F\r\n"         // numbers in texts stay texts
                             "\"unclosed");
    const char* expected[] = {"a, b", "c", "plain text", "x",  "y",   "multi\r\nline",
                              "",     "",  "12",         "34", "&h1F"};
    for (const char* want : expected) {
        QString value;
        ASSERT_EQ(reader.text(value), 0) << want;
        EXPECT_EQ(value, QString::fromLatin1(want));
    }
    QString value = QStringLiteral("kept");
    EXPECT_EQ(reader.text(value), RunTimeError::InputPastEndOfFile); // the quote never closes
    EXPECT_EQ(value, QStringLiteral("kept"));

    // A quoted number counts as the number; an empty field is 0 or false, an empty text is not.
    // A failed read leaves the value alone.
    const struct {
        const char* field;
        int textError;
        const char* text;
        int byteError, byte, flagError;
        bool flag;
    } kinds[] = {
        {"\" 12 \"\r\n", 0, " 12 ", 0, 12, 0, true},
        {"\r\n", 0, "", 0, 0, 0, false},
        {"\"\"\r\n", 0, "", RunTimeError::TypeMismatch, -1, RunTimeError::TypeMismatch, false},
        {"   ", RunTimeError::InputPastEndOfFile, "kept", RunTimeError::InputPastEndOfFile, -1,
         RunTimeError::InputPastEndOfFile, false},
    };
    for (const auto& k : kinds) {
        QString text = QStringLiteral("kept");
        int byte = -1;
        bool flag = false;
        EXPECT_EQ(CommandFileReader(k.field).text(text), k.textError) << k.field;
        EXPECT_EQ(CommandFileReader(k.field).byteValue(byte), k.byteError) << k.field;
        EXPECT_EQ(CommandFileReader(k.field).flag(flag), k.flagError) << k.field;
        EXPECT_EQ(text, QLatin1String(k.text)) << k.field;
        EXPECT_EQ(byte, k.byte) << k.field;
        EXPECT_EQ(flag, k.flag) << k.field;
    }
}

TEST(CommandFileReader, NumbersRoundHalfToEvenAndFailOutsideTheirRange) {
    const struct {
        const char* field;
        int byteError, byte, wholeError, whole;
    } cases[] = {
        {"2.5", 0, 2, 0, 2},
        {"3.5", 0, 4, 0, 4},
        {"-0.5", 0, 0, 0, 0},
        {"254.5", 0, 254, 0, 254},
        {"255.5", 6, 0, 0, 256},
        {"255.49", 0, 255, 0, 255},
        {"300", 6, 0, 0, 300},
        {"-1", 6, 0, 0, -1},
        {"&hFF", 0, 255, 0, 255},
        {"&o17", 0, 15, 0, 15},
        {"1e2  \t", 0, 100, 0, 100},
        {"+7", 0, 7, 0, 7},
        {"2147483647", 6, 0, 0, 2147483647},
        {"-2147483648", 6, 0, 0, -2147483647 - 1},
        {"2147483648", 6, 0, 6, 0},
        {"1e999", 6, 0, 6, 0},
    };
    for (const auto& c : cases) {
        int byte = 0;
        int whole = 0;
        EXPECT_EQ(CommandFileReader(c.field).byteValue(byte), c.byteError) << c.field;
        EXPECT_EQ(CommandFileReader(c.field).wholeNumber(whole), c.wholeError) << c.field;
        if (c.byteError == 0) {
            EXPECT_EQ(byte, c.byte) << c.field;
        }
        if (c.wholeError == 0) {
            EXPECT_EQ(whole, c.whole) << c.field;
        }
    }
    for (const char* notANumber : {"12abc", "1 2", "Stop", "\"Stop\"", "#TRUE#", "&h", "1e", "."}) {
        int value = 0;
        EXPECT_EQ(CommandFileReader(notANumber).byteValue(value), 13) << notANumber;
        EXPECT_EQ(CommandFileReader(notANumber).wholeNumber(value), 13) << notANumber;
    }
}

TEST(CommandFileReader, FlagsAreTheWordsOrNumbers) {
    const struct {
        const char* field;
        int error;
        bool value;
    } cases[] = {
        {"#TRUE#", 0, true},       {"#FALSE#", 0, false},
        {"  #TRUE#  ", 0, true},   {"1", 0, true},
        {"-1", 0, true},           {"0", 0, false},
        {"0.0", 0, false},         {"0.25", 0, true},
        {"&h0", 0, false},         {"\"1\"", 0, true},
        {"#true#", 13, false},     {"True", 13, false},
        {"\"#TRUE#\"", 13, false}, {"Stop", 13, false},
    };
    for (const auto& c : cases) {
        bool value = !c.value;
        EXPECT_EQ(CommandFileReader(c.field).flag(value), c.error) << c.field;
        if (c.error == 0) {
            EXPECT_EQ(value, c.value) << c.field;
        }
    }
}

TEST(CommandFileReader, ShortAndWrongFilesFailAtTheirFirstBadLine) {
    CommandFile saved;
    const QByteArray good = saved.bytes();
    const QList<QByteArray> lines = good.split('\n');

    // A file shorter than 19 lines fails with 62 at the first missing line.
    for (const int keep : {0, 1, 5, 18})
        EXPECT_EQ(readAll(lines.mid(0, keep).join('\n')).error, RunTimeError::InputPastEndOfFile)
            << keep;
    // The last line does not need its line end.
    const CommandFile::Read whole = readAll(good.chopped(2));
    EXPECT_EQ(whole.error, 0);
    EXPECT_EQ(whole.file, saved);
    const auto withLine = [&](int line, const QByteArray& content) {
        QList<QByteArray> changed = lines;
        changed[line - 1] = content + '\r';
        return changed.join('\n');
    };
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
        const CommandFile::Read read = readAll(withLine(b.line, b.content));
        EXPECT_EQ(std::pair(read.error, read.lines), std::pair(b.error, b.line - 1))
            << b.line << " " << b.content.data();
    }
}

TEST(CommandFileReader, HugeFieldsFailWithoutReadingThemWhole) {
    const QByteArray longLine(CommandFileReader::kMaxFieldBytes + 10, 'x');
    QString text;
    EXPECT_EQ(CommandFileReader(longLine).text(text), RunTimeError::OutOfStringSpace);
    EXPECT_EQ(CommandFileReader('"' + longLine + '"').text(text), RunTimeError::OutOfStringSpace);
    EXPECT_EQ(CommandFileReader("\"ok\"" + longLine).text(text), RunTimeError::OutOfStringSpace);
    const QByteArray blanks(CommandFileReader::kMaxFieldBytes + 10, ' ');
    EXPECT_EQ(CommandFileReader(blanks + "1").text(text), RunTimeError::OutOfStringSpace);
    const QByteArray justFits(CommandFileReader::kMaxFieldBytes - 2, 'y');
    EXPECT_EQ(CommandFileReader('"' + justFits + '"').text(text), 0);
    EXPECT_EQ(text.size(), justFits.size());

    // A 1 GiB file (sparse: no disk is used) of zero bytes, one line with no end.
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("huge.scm"));
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.resize(qint64(1) << 30));
    }
    CommandFileReader reader;
    ASSERT_EQ(reader.open(path), 0);
    EXPECT_EQ(reader.text(text), RunTimeError::OutOfStringSpace);
}

TEST(CommandFileReader, OpenFailuresHaveTheirErrorNumbers) {
    QTemporaryDir dir;
    CommandFileReader reader;
    EXPECT_EQ(reader.open(dir.filePath(QStringLiteral("none.scm"))), RunTimeError::FileNotFound);
    EXPECT_EQ(reader.open(dir.filePath(QStringLiteral("no/such/folder/a.scm"))),
              RunTimeError::PathNotFound);
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("folder.scm")));
    EXPECT_EQ(reader.open(dir.filePath(QStringLiteral("folder.scm"))),
              RunTimeError::PathFileAccess);
    EXPECT_EQ(reader.open(QString()), RunTimeError::BadFileName);
    EXPECT_EQ(reader.open(dir.path() + QStringLiteral("/")), RunTimeError::BadFileName);

    // A failed open leaves nothing to read, not the previous file.
    const QString good = dir.filePath(QStringLiteral("good.scm"));
    ASSERT_TRUE(writeContent(good, "\"x\"\r\n"));
    ASSERT_EQ(reader.open(good), 0);
    EXPECT_EQ(reader.open(dir.filePath(QStringLiteral("none.scm"))), RunTimeError::FileNotFound);
    QString text;
    EXPECT_EQ(reader.text(text), RunTimeError::InputPastEndOfFile);
}

TEST(CommandFileReader, OpenOfAnUnreadableFileIsPermissionDenied) {
    if (geteuid() == 0)
        GTEST_SKIP() << "running as root: file permissions do not stop root from reading";
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("secret.scm"));
    ASSERT_TRUE(writeContent(path, "\"x\"\r\n"));
    ASSERT_TRUE(QFile::setPermissions(path, QFileDevice::WriteOwner));
    CommandFileReader reader;
    EXPECT_EQ(reader.open(path), RunTimeError::PermissionDenied);
}

TEST(CommandFile, FailedSaveLeavesThePreviousFileIntact) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("kept.scm"));
    CommandFile previous;
    previous.title = QStringLiteral("kept.scm");
    ASSERT_EQ(previous.save(path), 0);
    const QByteArray before = fileContent(path);

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
        EXPECT_EQ(fileContent(path), before) << limit;
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                  QStringList{QStringLiteral("kept.scm")}); // no temporary file left behind
    }

    // Saving where no file can be.
    EXPECT_EQ(previous.save(dir.filePath(QStringLiteral("no/folder/x.scm"))),
              RunTimeError::PathNotFound);
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("sub.scm")));
    EXPECT_EQ(previous.save(dir.filePath(QStringLiteral("sub.scm"))), RunTimeError::PathFileAccess);
    // A named pipe is never replaced (the window may not write one: it would wait for a
    // reader); a link to a file stays a link, and the file it names is saved.
    const QString pipe = dir.filePath(QStringLiteral("pipe.scm"));
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_EQ(previous.save(pipe), RunTimeError::PathFileAccess);
    EXPECT_EQ(saveTarget(pipe), SaveTarget::Stream);
    const QString link = dir.filePath(QStringLiteral("link.scm"));
    ASSERT_TRUE(QFile::link(path, link));
    CommandFile other = previous;
    other.port = 2;
    ASSERT_EQ(other.save(link), 0);
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(fileContent(path), other.bytes());
}

TEST(CommandFile, SaveIntoAReadOnlyFolderIsPermissionDeniedAndKeepsTheFile) {
    if (geteuid() == 0)
        GTEST_SKIP() << "running as root: a read-only folder does not stop root from writing";
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("kept.scm"));
    CommandFile previous;
    ASSERT_EQ(previous.save(path), 0);
    const QByteArray before = fileContent(path);
    ASSERT_TRUE(QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner));
    CommandFile other;
    other.note = QStringLiteral("other");
    EXPECT_EQ(other.save(path), RunTimeError::PermissionDenied);
    QFile::setPermissions(dir.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(fileContent(path), before);
}

TEST(CommandFile, ExistsOnlyUnderTheExactName) {
    QTemporaryDir dir;
    ASSERT_TRUE(writeContent(dir.filePath(QStringLiteral("Case.scm")), "x"));
    ASSERT_TRUE(writeContent(dir.filePath(QStringLiteral(".hidden.scm")), "x"));
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("folder.scm")));
    EXPECT_TRUE(existsWithExactName(dir.filePath(QStringLiteral("Case.scm"))));
    EXPECT_TRUE(existsWithExactName(dir.filePath(QStringLiteral(".hidden.scm"))));
    EXPECT_FALSE(existsWithExactName(dir.filePath(QStringLiteral("case.scm"))));
    EXPECT_FALSE(existsWithExactName(dir.filePath(QStringLiteral("folder.scm"))));
    EXPECT_FALSE(existsWithExactName(dir.filePath(QStringLiteral("*.scm"))));
    EXPECT_FALSE(existsWithExactName(dir.filePath(QStringLiteral("none/Case.scm"))));
    EXPECT_FALSE(existsWithExactName(QString()));
}
