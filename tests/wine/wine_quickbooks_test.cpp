// The nightly QuickBooks import through the real COM machinery: the Windows program's command
// line creates "QBXMLRP2.RequestProcessor" and drives it through IDispatch; a stand-in server
// registered in the Wine prefix plays QuickBooks' responses back and writes down every call.
#include "support/program_folder_fixture.h"
#include "wine_session.h"

#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class WineQuickBooks : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!wine::available())
            return;
        const wine::Result registered = wine::run(
            "regsvr32",
            {"/s", wine::windowsPath(wine::windowsBuild() + "/tests/wine/qbxmlrp_standin.dll")});
        ASSERT_EQ(registered.exitCode, 0) << "the stand-in request processor is not registered";
    }

    void SetUp() override {
        if (!wine::available())
            GTEST_SKIP() << "no Windows build and Wine prefix (scripts/test-windows runs these)";
        ASSERT_EQ(QProcess::execute("cp", {"-r", wine::windowsBuild() + "/package/.", dir_.path()}),
                  0);
        testsupport::runSql(dir_.filePath("dbscan.mdb"),
                            "UPDATE tblSettings SET Accounting = 'QuickBooks';"
                            "INSERT INTO tblCodelink VALUES ('KEEP', 'Kept', NULL, 1)");
        testsupport::writeFile(dir_.filePath("Company.qbw"), {});
        for (const char* response : {"host_v13.xml", "items_chunk1.xml", "items_chunk2.xml"})
            ASSERT_TRUE(
                QFile::copy(QStringLiteral(ORVANE_SOURCE_DIR "/tests/import/qbxml/") + response,
                            standIn_.filePath(response)));
        testsupport::writeFile(standIn_.filePath("responses.txt"),
                               "host_v13.xml\nitems_chunk1.xml\nitems_chunk2.xml\n");
    }

    wine::Result importCompanyFile() {
        QProcessEnvironment env = wine::environment();
        env.insert("ORVANE_QBXMLRP_STANDIN", wine::windowsPath(standIn_.path()));
        return wine::run(dir_.filePath("orvane-translator.com"),
                         {"import", companyFile(), "--scan", "UPC"}, env);
    }
    QString companyFile() const { return wine::windowsPath(dir_.filePath("Company.qbw")); }

    QStringList calls() const {
        QFile file(standIn_.filePath("calls.txt"));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    }
    QStringList codelink() const {
        return testsupport::rows(dir_.filePath("dbscan.mdb"),
                                 "SELECT ScanValue, ReturnValue FROM tblCodelink ORDER BY 1");
    }

    QTemporaryDir dir_;
    QTemporaryDir standIn_;
};

TEST_F(WineQuickBooks, ACompanyFileIsImportedFromTheCommandLineInOneClosedSession) {
    const wine::Result result = importCompanyFile();
    ASSERT_EQ(result.exitCode, 0) << result.error.toStdString();
    EXPECT_EQ(codelink(), QStringList({"0101|Hardware:Nut", "0102|Hardware:Washer", "KEEP|Kept"}));
    EXPECT_EQ(calls(), QStringList({"OpenConnection2\t\tOrvane Translator\t1",
                                    "BeginSession\t" + companyFile() + "\t2",
                                    "ProcessRequest\t{TICKET-0001}\trequest-1.xml",
                                    "ProcessRequest\t{TICKET-0001}\trequest-2.xml",
                                    "ProcessRequest\t{TICKET-0001}\trequest-3.xml",
                                    "EndSession\t{TICKET-0001}", "CloseConnection"}));
    QFile second(standIn_.filePath("request-2.xml"));
    ASSERT_TRUE(second.open(QIODevice::ReadOnly));
    EXPECT_TRUE(
        QString::fromUtf8(second.readAll())
            .contains(QRegularExpression(R"(<ItemQueryRq requestID="1" iterator="Start">)")))
        << "the items are asked for after the version, in chunks";
}

TEST_F(WineQuickBooks, EveryWayQuickBooksRefusesIsToldAndClosesWhatWasOpened) {
    struct Case {
        const char* failure;
        const char* told;
    };
    // QuickBooks' own errors, told as Automation servers tell them: in scode, in a deferred
    // fill-in, or as the interface's 16-bit code alone.
    for (const Case& refusal :
         {Case{"BeginSession 80040416 scode", "QuickBooks is not running"},
          Case{"BeginSession 80040418 deferred", "has not allowed Orvane Translator"},
          Case{"BeginSession 80040422 wcode", "Another application is working with"}}) {
        SCOPED_TRACE(refusal.failure);
        QFile::remove(standIn_.filePath("calls.txt"));
        testsupport::writeFile(standIn_.filePath("fail.txt"), refusal.failure);
        const wine::Result result = importCompanyFile();
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.error.contains(refusal.told)) << result.error.toStdString();
        EXPECT_EQ(codelink(), QStringList{"KEEP|Kept"}) << "nothing is changed";
        EXPECT_EQ(calls().value(0).section('\t', 0, 0), "OpenConnection2");
        EXPECT_EQ(calls().value(1).section('\t', 0, 0), "BeginSession");
        EXPECT_EQ(calls().mid(2), QStringList{"CloseConnection"})
            << "the connection is closed; no session was begun";
    }
    // A failure in the middle of the session ends the session and the connection.
    QFile::remove(standIn_.filePath("calls.txt"));
    testsupport::writeFile(standIn_.filePath("fail.txt"), "ProcessRequest 80040400 scode");
    EXPECT_EQ(importCompanyFile().exitCode, 1);
    EXPECT_EQ(calls().mid(3), QStringList({"EndSession\t{TICKET-0001}", "CloseConnection"}));
}

} // namespace
