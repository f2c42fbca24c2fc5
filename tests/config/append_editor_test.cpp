// The return pattern editor and the command keys picker: the token rules without a window, then
// the editor and the picker with real clicks and key events.
#include "config/append_editor.h"
#include "config/append_strings.h"
#include "config/frm_cmd_keys.h"
#include "config/token_line_edit.h"
#include "config_test_support.h"
#include "platform/database.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <gtest/gtest.h>

using config::AppendEditor;
using testsupport::child;

// The editor tests below cover whole tokens, escaping and normalising; these are the edges.
TEST(PatternRules, HalfTypedTokensAndEmptyPatterns) {
    using Boundaries = QVector<std::int16_t>;
    EXPECT_EQ(config::TokenBoundaries("a>><SHI"), Boundaries({0, 1, 3, 7, -1}))
        << "a half-typed token runs to the end";
    EXPECT_EQ(config::TokenBoundaries(""), Boundaries({0, -1}));
    EXPECT_EQ(config::BoundaryIndexAfter(config::TokenBoundaries("<<A"), 3), 0);
    EXPECT_EQ(config::BoundaryIndexAfter({}, 0), 0);
}

namespace {

struct Editor : ::testing::Test {
    Editor() {
        editor.resize(600, 200);
        editor.show();
    }
    template <class T>
    T* control(const char* name) {
        return child<T>(editor, name);
    }
    void click(const char* button) { control<QPushButton>(button)->click(); }
    void name(const QString& text) { control<QComboBox>("CmbNames")->setEditText(text); }
    std::optional<QString> stored(const QString& name) {
        const auto found = config::FindAppendString(name);
        return found ? std::optional(found->string) : std::nullopt;
    }
    config::TokenLineEdit* box() { return control<config::TokenLineEdit>("TxtApendStr"); }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    AppendEditor editor;
};

} // namespace

TEST_F(Editor, SavesReplacesAndRemovesNamedPatterns) {
    editor.setPattern("<TAB>");
    name("O'Neil|2");
    click("Cmdaddtolist");
    EXPECT_EQ(stored("O'Neil|2"), "<RetVal><TAB>");
    EXPECT_EQ(box()->text(), "<RetVal><TAB>");
    EXPECT_TRUE(dialogs.messages().empty());

    editor.setPattern("a b<RetVal>");
    dialogs.answer(platform::Answer::No);
    click("Cmdaddtolist");
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList{"O'Neil|2 Already Exists Do You Want to Replace It?"});
    EXPECT_EQ(stored("O'Neil|2"), "<RetVal><TAB>") << "No keeps the stored pattern";
    EXPECT_EQ(box()->text(), "a<SP>b<RetVal>") << "but the box shows the normalised text";
    EXPECT_EQ(control<QComboBox>("CmbNames")->currentText(), "O'Neil|2");

    dialogs.clear();
    name("No Such Pattern");
    click("CmdRemove");
    name("O'Neil|2");
    click("CmdRemove");
    EXPECT_TRUE(dialogs.messages().empty()) << "removing asks nothing";
    EXPECT_EQ(stored("O'Neil|2"), std::nullopt);
    EXPECT_EQ(control<QComboBox>("CmbNames")->count(), 5) << "the shipped patterns stay";

    name(" ");
    dialogs.answerInput(std::nullopt);
    click("Cmdaddtolist");
    EXPECT_EQ(dialogs.inputPrompts(), QStringList{"Enter Name:"});
    dialogs.answerInput(QString("Typed"));
    click("Cmdaddtolist");
    EXPECT_EQ(stored("Typed"), "a<SP>b<RetVal>");

    QComboBox* names = control<QComboBox>("CmbNames");
    names->setCurrentIndex(names->findText("Tab Unit Enter"));
    editor.CmbNames_Click();
    EXPECT_EQ(box()->text(), "<RetVal><TAB><UoM><RET>");

    // A name is at most what tblAppendStr.Name holds.
    name(QString(51, 'n'));
    click("Cmdaddtolist");
    EXPECT_EQ(stored(QString(51, 'n')), std::nullopt);
    EXPECT_TRUE(dialogs.messageTexts().join(u'|').contains("at most 50"));
    name(QString(50, 'n'));
    click("Cmdaddtolist");
    EXPECT_EQ(stored(QString(50, 'n')), "<RetVal><TAB><UoM><RET>");
}

TEST_F(Editor, InsertsAtTheCaretAndTheCaretNeverStopsInsideAToken) {
    box()->setFocus();
    click("CmdAddRetVal");
    control<QLineEdit>("TxtAdd")->setText("a <b>");
    click("CmdAddText");
    EXPECT_EQ(box()->text(), "<RetVal>a<SP><<b>>");
    EXPECT_EQ(control<QLineEdit>("TxtAdd")->text(), "");
    box()->setCursorPosition(0);
    click("CmdAddUoM");
    EXPECT_EQ(box()->text(), "<UoM><RetVal>a<SP><<b>>");
    EXPECT_EQ(box()->toolTip(), box()->text());

    box()->setText("<<A<SHIFT>b");
    box()->setCursorPosition(0);
    std::vector<int> stops;
    for (int i = 0; i < 5; ++i) {
        QTest::keyClick(box(), i % 2 ? Qt::Key_Down : Qt::Key_Right);
        stops.push_back(box()->cursorPosition());
    }
    EXPECT_EQ(stops, std::vector<int>({2, 3, 10, 11, 11}));
    QTest::keyClick(box(), Qt::Key_Left);
    QTest::keyClick(box(), Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_EQ(box()->selectionStart(), 3);
    EXPECT_EQ(box()->selectedText(), "<SHIFT>");
    QTest::keyClick(box(), Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(box()->selectedText(), "A<SHIFT>");
    click("CmdAddRetVal"); // replaces the selection
    EXPECT_EQ(box()->text(), "<<<RetVal>b");

    // A click anywhere lands on a unit boundary.
    box()->setText("<<A<SHIFT>b");
    const QList<int> boundaries{0, 2, 3, 10, 11};
    for (int x = 1; x < box()->width(); x += 3) {
        QTest::mouseClick(box(), Qt::LeftButton, {}, QPoint(x, box()->height() / 2));
        EXPECT_TRUE(boundaries.contains(box()->cursorPosition())) << "x " << x;
    }
}

// --- the command keys window -------------------------------------------------------------

namespace {

struct CommandKeys : Editor {
    CommandKeys() { keys.Load(); }
    // A key as the user presses it: it goes to whatever control has the focus.
    static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QWidget* focus = QApplication::focusWidget();
        ASSERT_TRUE(focus);
        QTest::keyClick(focus, key, modifiers);
    }
    QString code() { return child<QLineEdit>(keys, "TbCode")->text(); }
    bool hasFocus() { return keys.isAncestorOf(QApplication::focusWidget()); }

    config::frmCmdKeys keys{editor};
};

} // namespace

TEST_F(CommandKeys, PressedKeysChooseTheirRowWhateverControlHasTheFocus) {
    ASSERT_TRUE(testsupport::activate(keys));
    ASSERT_TRUE(hasFocus());
    press(Qt::Key_F2, Qt::ControlModifier);
    EXPECT_EQ(code(), "<CTRL><F2>") << "from the moment the window opens";
    ASSERT_EQ(QApplication::focusWidget(), child<QPushButton>(keys, "CmdSend"));
    press(Qt::Key_Space);
    EXPECT_EQ(code(), "<SP>") << "Space is a key to pick, not a click of Send";
    EXPECT_EQ(editor.pattern(), "");
    press(Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_EQ(code(), "<SHIFT><LEFT>");
    press(Qt::Key_Right);
    EXPECT_EQ(code(), "<RIGHT>") << "the modifier boxes follow the keys held";
    press(Qt::Key_A);
    EXPECT_EQ(code(), "a");
    EXPECT_TRUE(child<QRadioButton>(keys, "OptKeyBox")->isChecked());
    press(Qt::Key_Z);
    press(Qt::Key_0);
    EXPECT_EQ(code(), "a") << "Z and 0 are looked up in the table, which has neither";
    press(Qt::Key_Tab, Qt::ShiftModifier);
    EXPECT_EQ(code(), "<SHIFT><TAB>");
    EXPECT_TRUE(hasFocus()) << "Tab does not leave the window";

    // Clicks, and a key typed into the key box by hand.
    child<QCheckBox>(keys, "ChCmd0")->click();
    EXPECT_EQ(code(), "<TAB>");
    QTest::mouseDClick(child<QLineEdit>(keys, "TbKey"), Qt::LeftButton); // selects its key
    press(Qt::Key_Minus);
    EXPECT_EQ(child<QLineEdit>(keys, "TbKey")->text(), "-");
    child<QRadioButton>(keys, "OptKeyBox")->click();
    EXPECT_EQ(code(), "-");
    child<QRadioButton>(keys, "OptKey11")->click();
    EXPECT_EQ(code(), "<RIGHT>");

    editor.setPattern("<RetVal><RET>");
    child<config::TokenLineEdit>(editor, "TxtApendStr")->setCursorPosition(8);
    child<QPushButton>(keys, "CmdSend")->click();
    EXPECT_EQ(editor.pattern(), "<RetVal><RIGHT><RET>");
    EXPECT_TRUE(keys.isVisible()) << "Send leaves the window open";

    folder.sql("CmdKeys.mdb", "DELETE FROM Keys WHERE \"Index\" > 1");
    config::frmCmdKeys few(editor);
    few.Load();
    EXPECT_FALSE(child<QRadioButton>(few, "OptKey1")->isHidden());
    EXPECT_TRUE(child<QRadioButton>(few, "OptKey2")->isHidden());
    ASSERT_TRUE(testsupport::activate(few));
    press(Qt::Key_F2);
    EXPECT_EQ(child<QLineEdit>(few, "TbCode")->text(), "") << "a key without a row changes nothing";
}
