// The QuickBooks interface on qbXML responses (in qbxml/) played back by a stand-in for
// QuickBooks' request processor, and the requests the program sends.
#include "import/frm_map.h"
#include "import/import_test_support.h"
#include "import/qb_interface.h"
#include "platform/app_error.h"
#include "platform/qb_request_processor.h"

#include <QComboBox>
#include <QPushButton>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

QString file(const QString& name) {
    QFile text(QStringLiteral(ORVANE_SOURCE_DIR "/tests/import/qbxml/") + name);
    if (!text.open(QIODevice::ReadOnly))
        throw std::runtime_error("no test file " + name.toStdString());
    return QString::fromUtf8(text.readAll());
}

// The messages of the requests, written without the blanks between elements.
const QString kHostQuery = R"(<HostQueryRq requestID="1"/>)";
const QString kCustomFieldQuery =
    R"(<DataExtDefQueryRq requestID="1"><OwnerID>0</OwnerID></DataExtDefQueryRq>)";
const QString kItemQuery = R"(<ItemQueryRq requestID="1" iterator="Start">)"
                           R"(<MaxReturned>500</MaxReturned><OwnerID>0</OwnerID></ItemQueryRq>)";
const QString kItemQueryGoingOn =
    R"(<ItemQueryRq requestID="1" iterator="Continue")"
    R"( iteratorID="{1a2b3c4d-0000-4000-8000-00000000abcd}">)"
    R"(<MaxReturned>500</MaxReturned><OwnerID>0</OwnerID></ItemQueryRq>)";

// QuickBooks as the tests play it: every request is kept, responses come from a queue.
struct Playback {
    QStringList requests;
    QStringList responses;
    QString companyFile;

    struct Processor : platform::QbRequestProcessor {
        explicit Processor(Playback& playback)
            : playback(playback) {}
        void beginSession(const QString& file) override { playback.companyFile = file; }
        QString processRequest(const QString& request) override {
            playback.requests << request;
            if (playback.responses.empty())
                throw platform::AppError(platform::err::QuickBooksFailed, "no response scripted");
            return playback.responses.takeFirst();
        }
        void endSession() override {}
        Playback& playback;
    };

    Playback() {
        platform::setQbRequestProcessorFactory(
            [this] { return std::make_unique<Processor>(*this); });
    }
    ~Playback() { platform::setQbRequestProcessorFactory(nullptr); }
    void respond(std::initializer_list<const char*> names) {
        for (const char* name : names)
            responses.push_back(file(name));
    }
};

class QuickBooks : public importtest::ImportTest {
protected:
    void SetUp() override {
        ImportTest::SetUp();
        import::LoadExclusions("QuickBooks"); // no kind excluded, whatever an earlier test left
    }
    QStringList rows(const QString& sql) const { return folder.rows(sql); }
    bool read(bool update, const QString& scanField, bool secondVariant = false) {
        const import::AccountingFlags flags{
            .UseQBSDK = true, .Country = "US", .UseQBSDK7 = secondVariant};
        return import::ReadItems(update, scanField, "C:\\Books\\Shop.QBW", flags, "QuickBooks",
                                 progress);
    }
    // The first variant speaks qbXML 5.0, the second the host's highest version.
    void expectRequest(int index, const QString& message, const QString& version = "13.0") {
        ASSERT_GT(playback.requests.size(), index);
        EXPECT_EQ(playback.requests[index].trimmed().replace(QRegularExpression(">\\s+<"), "><"),
                  R"(<?xml version="1.0"?><?qbxml version=")" + version +
                      R"("?><QBXML><QBXMLMsgsRq onError="stopOnError">)" + message +
                      "</QBXMLMsgsRq></QBXML>");
    }

    Playback playback;
};

} // namespace

TEST_F(QuickBooks, EveryKindFindsItsDescriptionAndItemsWithoutTheFieldBecomeErrorRows) {
    playback.respond({"items_all_kinds.xml"});
    EXPECT_TRUE(read(true, "UPC"));
    expectRequest(0, kItemQuery, "5.0");
    EXPECT_EQ(playback.companyFile, "C:\\Books\\Shop.QBW");
    const QString d250 = file("items_all_kinds.xml").section("<ItemDesc>", 1, 1).section("<", 0, 0);
    ASSERT_EQ(d250.size(), 250);
    EXPECT_EQ(
        rows("SELECT ScanValue, ReturnValue, Descrip FROM tblCodelink ORDER BY ScanValue"),
        QStringList({"0001|Hardware:Bolt|Steel bolt 10 mm", "0002|Gift Wrap|Gift wrapping & ribbon",
                     "0003|Freight|Freight charge", "0004|Labour:Repair|Subcontracted repair",
                     "0005|Staff|" + d250, "0006|Kit|" + d250}))
        << "the group's 251 characters are cut to 250; the gift wrap has a Name, no FullName";
    EXPECT_EQ(rows("SELECT ErrorDescription, ScanCode, ReturnCode FROM tblImportErrors"),
              QStringList{"Custom Field is not Found| |Furniture:Shelf"});
    EXPECT_TRUE(dialogs.messages().empty());

    // Preview mode: into tblPreview; an item without the field stays, without a unit.
    playback.respond({"items_all_kinds.xml", "items_all_kinds.xml"});
    EXPECT_TRUE(read(false, "product code"));
    EXPECT_EQ(rows("SELECT PrevScan, PrevReturn, Unit FROM tblPreview WHERE PrevScan = 'Shelf'"),
              QStringList{"Shelf|Furniture:Shelf|1"});
    EXPECT_TRUE(read(false, "UPC"));
    EXPECT_EQ(rows("SELECT PrevScan, PrevReturn, Unit FROM tblPreview WHERE Unit IS NULL"),
              QStringList{"##Error##|Furniture:Shelf|"});
}

TEST_F(QuickBooks, ExcludedKindsWriteNothingInEitherMode) {
    folder.sql("accsys.mdb", "UPDATE tblExclude SET Exclude = 1 WHERE Code IN ('SERV', 'GROUP')");
    playback.respond({"items_all_kinds.xml", "items_all_kinds.xml"});
    EXPECT_TRUE(read(true, "Colour"));
    EXPECT_EQ(rows("SELECT ScanValue FROM tblCodelink"), QStringList{"Grey"});
    EXPECT_EQ(rows("SELECT count(*) FROM tblImportErrors"), QStringList{"4"})
        << "the four other kinds have no such field";
    EXPECT_TRUE(read(false, "UPC"));
    EXPECT_EQ(rows("SELECT PrevReturn FROM tblPreview ORDER BY PrevReturn"),
              QStringList({"Freight", "Furniture:Shelf", "Gift Wrap", "Hardware:Bolt", "Staff"}));
}

TEST_F(QuickBooks, AListIsReadInChunksWithTheIteratorOfTheHighestVersion) {
    playback.respond({"host_v13.xml", "items_chunk1.xml", "items_chunk2.xml"});
    EXPECT_TRUE(read(true, "BarCodeValue", true));
    expectRequest(0, kHostQuery, "1.0");
    expectRequest(1, kItemQuery);
    expectRequest(2, kItemQueryGoingOn);
    EXPECT_EQ(rows("SELECT ScanValue, ReturnValue FROM tblCodelink"),
              QStringList{"0012345000017|Hardware:Nut"});
    EXPECT_EQ(rows("SELECT ReturnCode FROM tblImportErrors"), QStringList{"Hardware:Washer"});

    playback.respond({"host_v13.xml", "items_chunk1.xml", "items_chunk2.xml"});
    EXPECT_TRUE(read(true, "UPC", true));
    EXPECT_EQ(
        rows("SELECT ScanValue, ReturnValue FROM tblCodelink ORDER BY ScanValue"),
        QStringList({"0012345000017|Hardware:Nut", "0101|Hardware:Nut", "0102|Hardware:Washer"}));
}

TEST_F(QuickBooks, TheSecondVariantOffersPartNumbersAndBarcodesAfterTheHostsVersion) {
    const import::AccountingFlags flags{.UseQBSDK = true, .Country = "US", .UseQBSDK7 = true};
    playback.respond({"host_v13.xml", "custom_fields.xml"});
    EXPECT_EQ(import::GetCustomFieldNames("Shop.qbw", flags),
              QStringList({"ManufacturerPartNumber", "BarCodeValue", "UPC", "Colour"}));
    expectRequest(1, kCustomFieldQuery);
    // A host that speaks 11.0 at most: no barcodes yet.
    playback.responses = {file("host_v13.xml").replace("12.0", "8.0").replace("13.0", "11.0"),
                          file("custom_fields.xml")};
    EXPECT_EQ(import::GetCustomFieldNames("Shop.qbw", flags).mid(0, 2),
              QStringList({"ManufacturerPartNumber", "UPC"}));
    expectRequest(3, kCustomFieldQuery, "11.0");
}

TEST_F(QuickBooks, StatusesBrokenResponsesAndNoQuickBooksAreToldAndNothingMoreIsWritten) {
    playback.respond({"items_none.xml", "items_error.xml"});
    EXPECT_FALSE(read(true, "UPC"));
    ASSERT_EQ(dialogs.messages().size(), 1u);
    EXPECT_EQ(dialogs.messages()[0].text, "No invoice is found");
    EXPECT_EQ(dialogs.messages()[0].title, "Message from QuickBooks");
    EXPECT_FALSE(read(true, "UPC"));
    EXPECT_EQ(dialogs.messages().back().text,
              "Error occured.  Status Code = 3250, Status Message = This feature is not enabled "
              "or not available in this version of QuickBooks., Status Severity = Error");
    EXPECT_EQ(rows("SELECT * FROM tblCodelink"), QStringList());

    const QString all = file("items_all_kinds.xml");
    playback.responses.push_back(all.left(all.indexOf("<FullName>Freight") + 17)); // cut off
    EXPECT_FALSE(read(true, "UPC"));
    EXPECT_TRUE(dialogs.messages().back().text.startsWith("QuickBooks sent a response that cannot "
                                                          "be read"));
    EXPECT_EQ(rows("SELECT ScanValue FROM tblCodelink ORDER BY ScanValue"),
              QStringList({"0001", "0002"}))
        << "the items read before the break stay";

    // Without QuickBooks' request processor the user is told what is missing: on Windows that it
    // is not installed, elsewhere where company files can be read.
    platform::setQbRequestProcessorFactory(nullptr);
    EXPECT_TRUE(
        import::GetCustomFieldNames("Shop.qbw", {.UseQBSDK = true, .Country = "US"}).isEmpty());
#ifdef Q_OS_WIN
    const QString missing = "QuickBooks' request processor (QBXMLRP2) is not installed";
#else
    const QString missing = platform::kQuickBooksOnlyOnWindows;
#endif
    EXPECT_TRUE(dialogs.messages().back().text.startsWith(missing));
}

// The window opens on the company file stored as its source and keeps the custom fields that
// QuickBooks sends.
TEST_F(QuickBooks, TheItemMapWindowListsCustomFieldsAndClosesAfterAFailedRead) {
    const QString companyFile = testsupport::writeFile(folder.file("Shop.QBW"), {});
    folder.sql("dbscan.mdb",
               "UPDATE tblSettings SET CustomScan = 'Colour', Source = '" + companyFile + "'");
    core::shared().Accounting = "QuickBooks 2007 and earlier"; // the first variant: no host query
    playback.respond({"custom_fields.xml", "items_none.xml"});
    import::frmMap map;
    map.Load();
    map.show();
    expectRequest(0, kCustomFieldQuery, "5.0");
    auto* scan = map.findChild<QComboBox*>("cmbItemMap0");
    ASSERT_EQ(scan->count(), 2) << "the custom fields of items";
    EXPECT_EQ(scan->itemText(0) + "," + scan->itemText(1), "UPC,Colour");
    EXPECT_EQ(scan->currentText(), "Colour") << "the stored choice is selected";

    map.findChild<QPushButton*>("cmdUpdateDB")->click();
    EXPECT_FALSE(map.isVisible());
    EXPECT_EQ(dialogs.messageTexts(), QStringList{"No invoice is found"})
        << "no success message after a failed read";
}
