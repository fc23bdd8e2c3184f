#include "settings/file_choosers.h"

#include "app/globals.h"
#include "platform/events.h"
#include "platform/strings.h"
#include "platform/windows.h"
#include "settings/file_prompts.h"
#include "settings/prefs_store.h"
#include "tests/qt/chooser_user.h"
#include "tests/support/hostile_names.h"
#include "tests/support/temporary_folder.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <QTreeView>

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using strings = std::vector<std::string>;

// Choosers start in the test's folder; the settings are the test's own.
class FileChoosers : public ::testing::Test {
protected:
    FileChoosers()
    {
        EXPECT_EQ(chdir(folder.path().c_str()), 0);
        fs::copy_file(std::string(PAPERMILL_BUNDLE) + "/Resources/" + prefs_file_name,
                      settings / prefs_file_name);
        platform::copy_whole(prefsPath, settings.path().c_str());
        check_config();
        CreateNavUPP1();
        in_file[0] = 0;
    }
    ~FileChoosers() override
    {
        EXPECT_EQ(gModalToApplicationNavDialogRef, nullptr);
        EXPECT_EQ(modalToWindowNavDialogRef, nullptr);
        EXPECT_EQ(chdir("/"), 0);
    }

    std::string get_file1(const char *ext1 = nullptr, const char *ext2 = nullptr,
                          int allow_text = 0)
    {
        char path[path_size] = "unchanged";
        const int result = nav_get_file1(path, ext1, ext2, allow_text, "Select an input file");
        EXPECT_TRUE(result == 1 || path == std::string("unchanged"));
        return result == 1 ? path : "none";
    }
    std::string put_file1(const char *name = "")
    {
        char path[path_size] = "unchanged";
        const int result = nav_put_file1("Save pdf file as", name, path);
        EXPECT_TRUE(result == 1 || path == std::string("unchanged"));
        return result == 1 ? path : "none";
    }

    // The names of what was chosen, without the test's folder.
    strings get_files()
    {
        strings paths = {"unchanged"};
        const int result = nav_get_files1(&paths, ".pdf", "Add PDF files");
        EXPECT_TRUE(result == 1 || paths == strings{"unchanged"});
        if (result == 0)
            return {};
        for (std::string &path : paths)
            path = path.substr(path.find(folder.path()) == 0 ? folder.path().size() + 1 : 0);
        return paths;
    }

    temporary_folder folder;
    temporary_folder settings;
    chooser_user user;
};

strings popup_of(QFileDialog &chooser)
{
    strings titles;
    auto *popup = chooser.findChild<QComboBox *>("fileTypeCombo");
    for (int i = 0; i < popup->count(); ++i)
        titles.push_back(popup->itemText(i).toStdString());
    return titles;
}

// As somebody without root's rights, for as long as this lives.
class without_rights {
public:
    without_rights()
    {
        EXPECT_EQ(setresuid(nobody, nobody, 0), 0);
    }
    ~without_rights()
    {
        EXPECT_EQ(setresuid(0, 0, 0), 0);
    }

private:
    static constexpr uid_t nobody = 65534;
};

// The descriptor of a file, as the platform hands it to a filter.
AEDesc reference_to(const std::string &path)
{
    FSRef ref = {};
    EXPECT_EQ(FSPathMakeRef(path.c_str(), &ref, nullptr), noErr);
    AEDesc item;
    AECreateDesc(typeFSRef, &ref, sizeof ref, &item);
    return item;
}

Boolean filtered(const std::string &path, NavObjectFilterUPP filter, OSType type = 0,
                 OSType creator = 0)
{
    NavFileOrFolderInfo info = {};
    info.isFolder = fs::is_directory(path) ? 1 : 0;
    info.finderInfo.fdType = type;
    info.finderInfo.fdCreator = creator;
    AEDesc item = reference_to(path);
    const Boolean shown = filter(&item, &info, nullptr, kNavFilteringBrowserList);
    AEDisposeDesc(&item);
    return shown;
}

bool is_utf8(const std::string &name)
{
    return QByteArray::fromStdString(name).isValidUtf8();
}

} // namespace

// ---- the filters' rules ----

TEST_F(FileChoosers, TheFilterFollowsTheKindOfTheSelectedItem)
{
    for (const char *name : {"a.eps", "b.EPS", "c.ps", "d.txt"})
        folder.write(name, "");
    folder.make_folder("sub.x");
    platform::copy_whole(gExt, ".eps");
    platform::copy_whole(gExt1, ".ps");
    std::int32_t kinds[] = {1, 2, 3, 4};
    std::copy(std::begin(kinds), std::end(kinds), mapInt);
    const auto shown = [&](const char *name, OSType type = 0) {
        return filtered(folder / name, myFilterProc1, type);
    };
    selector = 0;
    EXPECT_EQ(shown("a.eps"), 1);
    EXPECT_EQ(shown("b.EPS"), 1);
    EXPECT_EQ(shown("c.ps"), 0);
    EXPECT_EQ(shown("sub.x"), 1);
    selector = 1;
    EXPECT_EQ(shown("a.eps"), 0);
    EXPECT_EQ(shown("c.ps"), 1);
    selector = 2;
    EXPECT_EQ(shown("d.txt", four_chars("TEXT")), 1);
    EXPECT_EQ(shown("d.txt", four_chars("PDF ")), 0);
    EXPECT_EQ(shown("d.txt"), 0);
    EXPECT_EQ(shown("sub.x"), 1);
    selector = 3;
    EXPECT_EQ(shown("d.txt"), 1);
    std::fill(std::begin(mapInt), std::end(mapInt), 0);
    selector = 0;
    EXPECT_EQ(shown("d.txt"), 1); // the folder chooser, before any popup was shown
}

TEST_F(FileChoosers, TheFilterTakesSpecificationsAndShowsWhatIsNoFile)
{
    folder.write("a.ps", "");
    platform::copy_whole(gExt, ".eps");
    mapInt[0] = 1;
    selector = 0;
    AEDesc reference = reference_to(folder / "a.ps");
    AEDesc specification;
    ASSERT_EQ(AECoerceDesc(&reference, typeFSS, &specification), noErr);
    NavFileOrFolderInfo info = {};
    EXPECT_EQ(myFilterProc1(&specification, &info, nullptr, 0), 0);
    platform::copy_whole(gExt, ".ps");
    EXPECT_EQ(myFilterProc1(&specification, &info, nullptr, 0), 1);
    AEDesc other;
    AECreateDesc(four_chars("TEXT"), "x", 1, &other);
    platform::copy_whole(gExt, ".eps");
    EXPECT_EQ(myFilterProc1(&other, &info, nullptr, 0), 1);
    EXPECT_EQ(myAppFilterProc1(&other, &info, nullptr, 0), 1);
    AEDisposeDesc(&reference);
    AEDisposeDesc(&specification);
    AEDisposeDesc(&other);
}

TEST_F(FileChoosers, TheApplicationFilterGoesByTypeAndCreator)
{
    folder.write("a", "");
    folder.make_folder("f");
    constexpr OSType application = four_chars("APPL");
    const auto shown = [&](OSType type, OSType creator) {
        return filtered(folder / "a", myAppFilterProc1, type, creator);
    };
    gSig = four_chars("ttxt");
    gSig1 = 0;
    EXPECT_EQ(shown(application, four_chars("ttxt")), 1);
    EXPECT_EQ(shown(four_chars("TEXT"), four_chars("ttxt")), 0);
    EXPECT_EQ(shown(application, four_chars("prvw")), 0);
    EXPECT_EQ(shown(application, 0), 0); // a second signature of 0 is none
    gSig1 = four_chars("prvw");
    EXPECT_EQ(shown(application, four_chars("prvw")), 1);
    EXPECT_EQ(shown(application, four_chars("ttxt")), 1);
    gSig = four_chars("****");
    EXPECT_EQ(shown(application, four_chars("abcd")), 1);
    EXPECT_EQ(shown(0, four_chars("abcd")), 0);
    EXPECT_EQ(filtered(folder / "f", myAppFilterProc1), 1);
}

TEST_F(FileChoosers, APathTooLongToBeTakenHasNoExtension)
{
    const std::string deep = folder / (std::string(200, 'a') + "/" + std::string(200, 'b'));
    fs::create_directories(deep);
    const std::string fits = deep + "/" + std::string(510 - deep.size() - 4, 'c') + ".ps";
    const std::string longer = deep + "/" + std::string(511 - deep.size() - 4, 'c') + ".ps";
    for (const std::string &path : {fits, longer})
        folder.write(path.substr(folder.path().size() + 1), "");
    platform::copy_whole(gExt, ".ps");
    mapInt[0] = 1;
    selector = 0;
    EXPECT_EQ(fits.size(), 510U);
    EXPECT_EQ(filtered(fits, myFilterProc1), 1);
    EXPECT_EQ(filtered(longer, myFilterProc1), 0);
}

// ---- the popup ----

TEST_F(FileChoosers, ThePopupListsTheKindsInOrder)
{
    const struct {
        const char *ext1, *ext2;
        int allow_text;
        strings titles;
        std::vector<std::int32_t> kinds;
    } cases[] = {
        {nullptr, nullptr, 0, {"All files"}, {4, 0, 0, 0}},
        {".ps", nullptr, 0, {"All files with .ps extension", "All files"}, {1, 4, 0, 0}},
        {nullptr, ".pdf", 0, {"All files with .pdf extension", "All files"}, {2, 4, 0, 0}},
        {nullptr, nullptr, 1, {"All text files", "All files"}, {3, 4, 0, 0}},
        {nullptr, nullptr, 2, {"All files"}, {4, 0, 0, 0}},
        {".eps",
         ".ps",
         1,
         {"All files with .eps extension", "All files with .ps extension", "All text files",
          "All files"},
         {1, 2, 3, 4}},
        {".ps",
         ".ps",
         0,
         {"All files with .ps extension", "All files with .ps extension", "All files"},
         {1, 2, 4, 0}},
        {".1234567890123456",
         ".(a)b",
         0,
         {"All files with .(a)b extension", "All files"},
         {2, 4, 0, 0}},
    };
    for (const auto &each : cases) {
        user.in_chooser([&](QFileDialog &chooser) {
            EXPECT_EQ(popup_of(chooser), each.titles);
            EXPECT_EQ(chooser.windowTitle(), "Select an input file");
            EXPECT_EQ(selector, 0U);
            press(chooser, Qt::Key_Escape);
        });
        EXPECT_EQ(get_file1(each.ext1, each.ext2, each.allow_text), "none");
        EXPECT_EQ(std::vector<std::int32_t>(std::begin(mapInt), std::end(mapInt)), each.kinds);
        EXPECT_EQ(didCancel, 1);
    }
}

TEST_F(FileChoosers, TheSelectedItemDecidesWhatIsListed)
{
    folder.write("a.eps", "");
    folder.write("b.PS", "");
    folder.write("c.txt", "text");
    folder.write("d.pdf", "%PDF-1.4\n");
    folder.write("e", "Some words.\n"); // text by its content
    folder.write(".hidden.eps", "");
    folder.make_folder("f");
    user.in_chooser([](QFileDialog &chooser) {
        auto *popup = chooser.findChild<QComboBox *>("fileTypeCombo");
        EXPECT_EQ(listed(chooser, 2), (strings{"a.eps", "f"}));
        popup->setFocus();
        press(*popup, Qt::Key_Down);
        EXPECT_EQ(selector, 1U);
        EXPECT_EQ(listed(chooser, 2), (strings{"b.PS", "f"}));
        press(*popup, Qt::Key_Down);
        EXPECT_EQ(selector, 2U);
        EXPECT_EQ(listed(chooser, 5), (strings{"a.eps", "b.PS", "c.txt", "e", "f"}));
        press(*popup, Qt::Key_Down);
        EXPECT_EQ(selector, 3U);
        EXPECT_EQ(listed(chooser, 6), (strings{"a.eps", "b.PS", "c.txt", "d.pdf", "e", "f"}));
        popup->setCurrentIndex(0); // as an aid for the blind does it
        EXPECT_EQ(selector, 0U);
        EXPECT_EQ(listed(chooser, 2), (strings{"a.eps", "f"}));
    });
    user.cancels();
    EXPECT_EQ(get_file1(".eps", ".ps", 1), "none");
}

TEST_F(FileChoosers, TheFinderTypeCountsBeforeTheContent)
{
    folder.write("a.txt", "text");
    folder.write("b.bin", std::string("\0\1\2", 3));
    const auto give_type = [&](const char *name, OSType type) {
        FSRef ref;
        FSSpec spec;
        FInfo info = {};
        ASSERT_EQ(FSPathMakeRef((folder / name).c_str(), &ref, nullptr), noErr);
        ASSERT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr), noErr);
        info.fdType = type;
        ASSERT_EQ(FSpSetFInfo(&spec, &info), noErr);
        ASSERT_EQ(FSpGetFInfo(&spec, &info), noErr);
        if (info.fdType != type)
            GTEST_SKIP() << "no extended attributes here";
    };
    give_type("a.txt", four_chars("PICT"));
    give_type("b.bin", four_chars("TEXT"));
    user.in_chooser(
        [](QFileDialog &chooser) { EXPECT_EQ(listed(chooser, 1), (strings{"b.bin"})); });
    user.cancels();
    EXPECT_EQ(get_file1(nullptr, nullptr, 1), "none");
}

// ---- choosing a file ----

TEST_F(FileChoosers, AFileIsChosenByClickByDoubleClickAndByName)
{
    folder.write("a.ps", "");
    folder.write("b.ps", "");
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "b.ps");
        press_accept(chooser);
    });
    EXPECT_EQ(get_file1(".ps"), folder / "b.ps");
    EXPECT_EQ(didCancel, 0);
    user.in_chooser([](QFileDialog &chooser) { click_row(chooser, "a.ps", 2); });
    EXPECT_EQ(get_file1(".ps"), folder / "a.ps");
    user.in_chooser([](QFileDialog &chooser) {
        type_name(chooser, "a.ps");
        press(chooser, Qt::Key_Return);
    });
    EXPECT_EQ(get_file1(".ps"), folder / "a.ps");
}

TEST_F(FileChoosers, OnlyTheKeyboardIsNeeded)
{
    folder.write("a.ps", "");
    folder.make_folder("sub");
    folder.write("sub/b.ps", "");
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(listed(chooser, 2), (strings{"a.ps", "sub"}));
        auto *list = chooser.findChild<QTreeView *>("treeView");
        int tabs = 0; // the list is reached with the tabulator
        while (QApplication::focusWidget() != list && ++tabs < 30)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        ASSERT_EQ(QApplication::focusWidget(), list);
        press(*list, Qt::Key_Home);
        press(*list, Qt::Key_Return); // folders come first
        EXPECT_EQ(listed(chooser, 1), (strings{"b.ps"}));
        list->setFocus();
        press(*list, Qt::Key_Home);
        press(*list, Qt::Key_Return);
    });
    EXPECT_EQ(get_file1(".ps"), folder / "sub/b.ps");
}

TEST_F(FileChoosers, EveryFieldHasANameForScreenReaders)
{
    user.in_chooser([](QFileDialog &chooser) {
        const auto named = [](const QWidget *widget) {
            if (!widget->isVisible())
                return;
            EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->objectName().toStdString();
        };
        for (const auto *widget : chooser.findChildren<QLineEdit *>())
            if (widget->parent() != nullptr &&
                qobject_cast<QComboBox *>(widget->parent()) == nullptr)
                named(widget);
        for (const auto *widget : chooser.findChildren<QComboBox *>())
            named(widget);
        for (const auto *widget : chooser.findChildren<QToolButton *>())
            named(widget);
        named(chooser.findChild<QTreeView *>("treeView"));
        EXPECT_EQ(chooser.windowModality(), Qt::ApplicationModal);
    });
    user.cancels();
    EXPECT_EQ(get_file1(), "none");
}

TEST_F(FileChoosers, ATypedNameMayLeadElsewhere)
{
    folder.make_folder("sub");
    folder.write("sub/b.ps", "");
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, folder / "sub/b.ps");
        press_accept(chooser);
    });
    EXPECT_EQ(get_file1(), folder / "sub/b.ps");
    // The next one starts there. A folder's name goes into it.
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(listed(chooser, 1), (strings{"b.ps"}));
        type_name(chooser, "..");
        press_accept(chooser);
        EXPECT_EQ(listed(chooser, 1), (strings{"sub"}));
        type_name(chooser, "sub");
        press_accept(chooser);
        EXPECT_EQ(listed(chooser, 1), (strings{"b.ps"}));
        type_name(chooser, "../sub/b.ps"); // dots would mislead who cuts the path at its last one
        press_accept(chooser);
    });
    EXPECT_EQ(get_file1(), folder / "sub/b.ps");
}

TEST_F(FileChoosers, AFileThatIsNotThereKeepsTheChooserOpen)
{
    user.in_chooser([](QFileDialog &chooser) {
        type_name(chooser, "absent.ps");
        press_accept(chooser);
    });
    user.reads("/absent.ps: File not found!");
    user.cancels();
    EXPECT_EQ(get_file1(), "none");
}

TEST_F(FileChoosers, HostileNamesComeBackByteForByte)
{
    for (const std::string &name : hostile_names()) {
        const std::string file = name + ".ps";
        folder.write(file, "x");
        user.in_chooser([&](QFileDialog &chooser) {
            if (is_utf8(file)) {
                click_row(chooser, file);
                press_accept(chooser);
            } else {
                QTest::mouseClick(chooser.findChild<QPushButton *>("unlistedButton"),
                                  Qt::LeftButton);
            }
        });
        if (!is_utf8(file)) {
            user.in_dialog("unlistedNames", [](QDialog &dialog) {
                auto *list = dialog.findChild<QListWidget *>();
                EXPECT_EQ(list->count(), 1);
                press(*list, Qt::Key_Down);
                list->setCurrentRow(0);
                press_accept(dialog);
            });
        }
        EXPECT_EQ(get_file1(".ps"), folder / file);
        fs::remove(folder / file);
    }
}

TEST_F(FileChoosers, HostileNamesCanBeTyped)
{
    for (const std::string &name : hostile_names()) {
        const bool has_control = std::any_of(name.begin(), name.end(),
                                             [](unsigned char c) { return c < ' ' || c == 127; });
        if (!is_utf8(name) || has_control)
            continue;
        const std::string file = name + ".ps";
        user.in_chooser([&](QFileDialog &chooser) {
            type_name(chooser, file);
            press_accept(chooser);
        });
        EXPECT_EQ(put_file1(), folder / file);
        EXPECT_EQ(folder.names(), strings{file});
        user.in_chooser([&](QFileDialog &chooser) {
            type_name(chooser, file);
            press_accept(chooser);
        });
        EXPECT_EQ(get_file1(), folder / file);
        fs::remove(folder / file);
    }
}

TEST_F(FileChoosers, TypedQuotationMarksDoNotHitAnotherFile)
{
    folder.write("b.pdf", "precious");
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(listed(chooser, 1), (strings{"b.pdf"}));
        type_name(chooser, "a\"b.pdf");
        press_accept(chooser);
    });
    EXPECT_EQ(put_file1(), folder / "a\"b.pdf");
    EXPECT_EQ(read_file(folder / "b.pdf"), "precious");
}

TEST_F(FileChoosers, NamesThatAreNotUtf8AreTold)
{
    folder.write("plain.ps", "");
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(listed(chooser, 1), (strings{"plain.ps"}));
        EXPECT_FALSE(chooser.findChild<QPushButton *>("unlistedButton")->isVisible());
    });
    user.cancels();
    get_file1(".ps");
    folder.write("latin\xE4.ps", "");
    folder.write("latin\n\xE4.txt", ""); // the popup's item does not show it
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(chooser.findChild<QLabel *>("unlistedNotice")->text(),
                  "One name in this folder is not UTF-8 and is not listed.");
        auto *popup = chooser.findChild<QComboBox *>("fileTypeCombo");
        popup->setFocus();
        press(*popup, Qt::Key_Down);
        EXPECT_EQ(chooser.findChild<QLabel *>("unlistedNotice")->text(),
                  "2 names in this folder are not UTF-8 and are not listed.");
        QTest::mouseClick(chooser.findChild<QPushButton *>("unlistedButton"), Qt::LeftButton);
    });
    user.in_dialog("unlistedNames", [](QDialog &dialog) {
        auto *list = dialog.findChild<QListWidget *>();
        EXPECT_EQ(list->item(0)->text(), "latin\\x0a\\xe4.txt");
        EXPECT_EQ(list->item(1)->text(), "latin\\xe4.ps");
        press(dialog, Qt::Key_Escape);
    });
    user.cancels();
    EXPECT_EQ(get_file1(".ps"), "none");
}

TEST_F(FileChoosers, FoldersThatAreNotUtf8CanBeEnteredAndChosen)
{
    folder.make_folder("latin\xE4");
    folder.make_folder("latin\xE4/inner");
    folder.write("latin\xE4/inner/plain.ps", "");
    const auto show = [this] {
        user.in_chooser([](QFileDialog &chooser) {
            QTest::mouseClick(chooser.findChild<QPushButton *>("unlistedButton"), Qt::LeftButton);
        });
    };
    const auto open_row = [this](int row) {
        user.in_dialog("unlistedNames", [row](QDialog &dialog) {
            auto *list = dialog.findChild<QListWidget *>();
            list->setCurrentRow(row);
            press(*list, Qt::Key_Return);
        });
    };
    show();
    open_row(0); // the folder
    open_row(1); // behind ".."
    open_row(0); // back
    open_row(1);
    open_row(1);
    EXPECT_EQ(get_file1(".ps"), folder / "latin\xE4/inner/plain.ps");

    char path[path_size] = "";
    EXPECT_EQ(chdir(folder.path().c_str()), 0);
    show();
    open_row(0);
    EXPECT_EQ(nav_get_working_folder1(path, "Select a working folder"), 1);
    EXPECT_EQ(path, folder / "latin\xE4");

    user.in_chooser([](QFileDialog &chooser) { type_name(chooser, "new.pdf"); });
    show();
    open_row(0);
    user.in_dialog("unlistedNames", [](QDialog &dialog) { press_accept(dialog); });
    EXPECT_EQ(put_file1(), folder / "latin\xE4/new.pdf");
    EXPECT_TRUE(file_exists(folder / "latin\xE4/new.pdf"));
}

TEST_F(FileChoosers, PathsOfMoreThan510BytesAreRefusedWithAMessage)
{
    const std::string inner = std::string(200, 'a') + "/" + std::string(200, 'b');
    const std::string deep = folder / inner;
    fs::create_directories(deep);
    const std::string fits = std::string(510 - deep.size() - 1, 'c');
    folder.write(inner + "/" + fits, "");
    folder.write(inner + "/" + fits + "c", "");
    for (const std::string &name : {fits, fits + "c"}) {
        user.in_chooser([&](QFileDialog &chooser) {
            type_name(chooser, deep + "/" + name);
            press_accept(chooser);
        });
        if (name == fits) {
            EXPECT_EQ(get_file1(), deep + "/" + fits);
            continue;
        }
        user.reads(name + ": the path is too long.");
        user.cancels();
        EXPECT_EQ(get_file1(), "none");
    }
    // Of a new file, the folder alone has to fit.
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, deep + "/" + std::string(255, 'd'));
        press_accept(chooser);
    });
    EXPECT_EQ(put_file1(), deep + "/" + std::string(255, 'd'));
    const std::string deeper = deep + "/" + std::string(150, 'e');
    fs::create_directories(deeper);
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, deeper + "/x.pdf");
        press_accept(chooser);
    });
    user.reads(": the folder's path is too long.");
    user.cancels();
    EXPECT_EQ(put_file1(), "none");
    EXPECT_FALSE(file_exists(deeper + "/x.pdf"));
}

TEST_F(FileChoosers, TenThousandFilesAreListedQuickly)
{
    for (int i = 0; i < 10000; ++i)
        folder.write("file" + std::to_string(i) + (i % 2 == 0 ? ".ps" : ".eps"), "");
    QElapsedTimer clock;
    clock.start();
    user.in_chooser([&](QFileDialog &chooser) {
        EXPECT_EQ(listed(chooser, 5000).size(), 5000U);
        auto *popup = chooser.findChild<QComboBox *>("fileTypeCombo");
        popup->setFocus();
        press(*popup, Qt::Key_Down);
        EXPECT_EQ(listed(chooser, 10000).size(), 10000U);
        click_row(chooser, "file9998.ps");
        press_accept(chooser);
    });
    EXPECT_EQ(get_file1(".ps"), folder / "file9998.ps");
    EXPECT_LT(clock.elapsed(), 30000); // a tenth of it where nothing else runs
    RecordProperty("milliseconds", static_cast<int>(clock.elapsed()));
}

// ---- choosing several files ----

TEST_F(FileChoosers, SeveralFilesComeInTheOrderInWhichTheyAreListed)
{
    for (const char *name : {"page 10.pdf", "page 2.pdf", "page 1.pdf", "Page 3.pdf", "x\"y.pdf",
                             "it's \" \" here.pdf", "other.ps"})
        folder.write(name, "");
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(chooser.windowTitle(), "Add PDF files");
        EXPECT_EQ(popup_of(chooser), (strings{"All files with .pdf extension", "All files"}));
        sort_by_name(chooser);
        click_row(chooser, "x\"y.pdf");
        for (const char *name : {"page 10.pdf", "page 1.pdf", "it's \" \" here.pdf", "Page 3.pdf"})
            click_row_too(chooser, name);
        press_accept(chooser);
    });
    EXPECT_EQ(get_files(), (strings{"it's \" \" here.pdf", "page 1.pdf", "Page 3.pdf",
                                    "page 10.pdf", "x\"y.pdf"}));
    EXPECT_EQ(didCancel, 0);
    user.in_chooser([](QFileDialog &chooser) { // as the column has it
        listed(chooser, 6);
        sort_by_name(chooser, Qt::DescendingOrder);
        click_row(chooser, "page 1.pdf");
        for (const char *name : {"page 2.pdf", "page 10.pdf"})
            click_row_too(chooser, name);
        press(chooser, Qt::Key_Return);
    });
    EXPECT_EQ(get_files(), (strings{"page 10.pdf", "page 2.pdf", "page 1.pdf"}));
    user.in_chooser([](QFileDialog &chooser) { click_row(chooser, "page 2.pdf", 2); });
    EXPECT_EQ(get_files(), strings{"page 2.pdf"});
    user.cancels();
    EXPECT_EQ(get_files(), strings());
}

TEST_F(FileChoosers, SeveralFilesAreChosenByKeyboardAlone)
{
    for (const char *name : {"a.pdf", "b.pdf", "c.pdf"})
        folder.write(name, "");
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(listed(chooser, 3).size(), 3U);
        sort_by_name(chooser);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
        QWidget *const list = QApplication::focusWidget();
        EXPECT_EQ(list, chooser.findChild<QTreeView *>("treeView"));
        press(*list, Qt::Key_End);
        QTest::keyClick(list->window()->windowHandle(), Qt::Key_Up, Qt::ShiftModifier);
        press(*list, Qt::Key_Return);
    });
    EXPECT_EQ(get_files(), (strings{"b.pdf", "c.pdf"}));
}

TEST_F(FileChoosers, SeveralNamesAreTypedInQuotationMarks)
{
    folder.make_folder("sub");
    folder.write("sub/b c.pdf", "");
    for (const char *name : {"a.pdf", "b.pdf", "\"quoted\"", "\"a.pdf\" \"c.pdf\""})
        folder.write(name, "");
    const std::pair<std::string, strings> cases[] = {
        {"b.pdf", {"b.pdf"}},
        {"\"b.pdf\" \"a.pdf\"", {"b.pdf", "a.pdf"}},
        {"\"" + (folder / "sub/b c.pdf") + "\" \"a.pdf\"", {"sub/b c.pdf", "a.pdf"}},
        {"\"a.pdf\"", {"a.pdf"}}, // what is left of several
        {"\"quoted\"", {"\"quoted\""}},
        {"\"a.pdf\" \"c.pdf\"", {"\"a.pdf\" \"c.pdf\""}}, // a file is really called so
        {"\"a.pdf\" \"a.pdf\"", {"a.pdf", "a.pdf"}},
    };
    for (const auto &[typed, names] : cases) {
        EXPECT_EQ(chdir(folder.path().c_str()), 0);
        user.in_chooser([typed = typed](QFileDialog &chooser) {
            type_name(chooser, typed);
            press_accept(chooser);
        });
        EXPECT_EQ(get_files(), names) << typed;
        user.in_chooser([this](QFileDialog &chooser) { // the next one starts here again
            type_name(chooser, folder / "a.pdf");
            press_accept(chooser);
        });
        EXPECT_EQ(get_files(), strings{"a.pdf"});
    }
    for (const char *typed : {"\"a.pdf\" \"absent.pdf\"", "\"\"", "\"a.pdf\" \"\"", "\""}) {
        user.in_chooser([typed](QFileDialog &chooser) {
            type_name(chooser, typed);
            press_accept(chooser);
        });
        user.reads(": File not found!");
        user.cancels();
        EXPECT_EQ(get_files(), strings()) << typed;
    }
}

TEST_F(FileChoosers, SelectedNamesCanBeEditedInTheField)
{
    for (const char *name : {"a.pdf", "b.pdf"})
        folder.write(name, "");
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "a.pdf");
        click_row_too(chooser, "b.pdf");
        auto *field = chooser.findChild<QLineEdit *>("fileNameEdit");
        EXPECT_EQ(field->text(), "\"a.pdf\" \"b.pdf\"");
        field->setFocus();
        press(*field, Qt::Key_End);
        for (int i = 0; i < 8; ++i)
            press(*field, Qt::Key_Backspace);
        EXPECT_EQ(field->text(), "\"a.pdf\"");
        press_accept(chooser);
    });
    EXPECT_EQ(get_files(), strings{"a.pdf"});
}

TEST_F(FileChoosers, AFolderAmongTheFilesIsRefusedAndAloneEntered)
{
    folder.make_folder("sub");
    folder.write("sub/b.pdf", "");
    folder.write("a.pdf", "");
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "sub");
        click_row_too(chooser, "a.pdf");
        press_accept(chooser);
    });
    user.reads("/sub: this is a folder, not a file.");
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "sub");
        press_accept(chooser);
        EXPECT_EQ(listed(chooser, 1), strings{"b.pdf"});
        click_row(chooser, "b.pdf");
        press_accept(chooser);
    });
    EXPECT_EQ(get_files(), strings{"sub/b.pdf"});
}

TEST_F(FileChoosers, OneFileThatCannotBeReadKeepsTheChooserOfSeveralOpen)
{
    if (getuid() != 0)
        GTEST_SKIP() << "needs two users";
    folder.write("a.pdf", "");
    folder.write("secret.pdf", "");
    EXPECT_EQ(chmod((folder / "secret.pdf").c_str(), 0600), 0);
    EXPECT_EQ(chmod(folder.path().c_str(), 0755), 0);
    const without_rights somebody;
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "a.pdf");
        click_row_too(chooser, "secret.pdf");
        press_accept(chooser);
    });
    user.reads("/secret.pdf: the file can't be read: Permission denied.");
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "a.pdf");
        press_accept(chooser);
    });
    EXPECT_EQ(get_files(), strings{"a.pdf"});
}

TEST_F(FileChoosers, AFileThatIsGoneOrTooDeepKeepsTheChooserOfSeveralOpen)
{
    const std::string inner = std::string(200, 'a') + "/" + std::string(200, 'b');
    fs::create_directories(folder / inner);
    const std::string deep =
        inner + "/" + std::string(511 - (folder / inner).size() - 1, 'c'); // a byte too many
    folder.write(deep, "");
    for (const char *name : {"a.pdf", "b.pdf"})
        folder.write(name, "");
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, "\"a.pdf\" \"" + deep + "\"");
        press_accept(chooser);
    });
    user.reads("c: the path is too long. Move the file or shorten its name.");
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, "\"a.pdf\" \"b.pdf\"");
        fs::remove(folder / "b.pdf");
        press_accept(chooser);
    });
    user.reads("/b.pdf: File not found!");
    user.cancels();
    EXPECT_EQ(get_files(), strings());
}

TEST_F(FileChoosers, SeveralNamesThatAreNotUtf8AreChosenTogether)
{
    folder.make_folder("latin\xE4");
    for (const char *name : {"one\xE4.pdf", "three\xE4.pdf", "two\xE4.pdf"})
        folder.write(name, "");
    user.in_chooser([](QFileDialog &chooser) {
        QTest::mouseClick(chooser.findChild<QPushButton *>("unlistedButton"), Qt::LeftButton);
    });
    user.in_dialog("unlistedNames", [](QDialog &dialog) {
        auto *list = dialog.findChild<QListWidget *>();
        const auto *open = dialog.findChild<QDialogButtonBox *>()->buttons().first();
        ASSERT_EQ(open->text(), "&Open");
        ASSERT_EQ(list->count(), 4);
        list->clearSelection();
        for (const int row : {3, 0, 1})
            list->item(row)->setSelected(true);
        EXPECT_FALSE(open->isEnabled()); // with a folder among them
        list->item(0)->setSelected(false);
        press_accept(dialog);
    });
    EXPECT_EQ(get_files(), (strings{"one\xE4.pdf", "two\xE4.pdf"}));
}

TEST_F(FileChoosers, TheOtherChoosersTakeOneFileWhateverIsSelectedOrTyped)
{
    for (const char *name : {"a.ps", "b.ps"})
        folder.write(name, "");
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "a.ps");
        click_row_too(chooser, "b.ps");
        press_accept(chooser);
    });
    EXPECT_EQ(get_file1(".ps"), folder / "b.ps");
    user.in_chooser([](QFileDialog &chooser) {
        type_name(chooser, "\"a.ps\" \"b.ps\"");
        press_accept(chooser);
    });
    user.reads("/\"a.ps\" \"b.ps\": File not found!");
    user.cancels();
    EXPECT_EQ(get_file1(".ps"), "none");
    // Of the choosers that keep the flag, too, those of a folder, an application and a new file.
    folder.make_folder("sub");
    folder.make_folder("sub.b");
    user.in_chooser([](QFileDialog &chooser) {
        click_row(chooser, "sub");
        click_row_too(chooser, "sub.b");
        press_accept(chooser);
    });
    char path[path_size] = "";
    EXPECT_EQ(nav_get_working_folder1(path, "Select a working folder"), 1);
    EXPECT_EQ(path, folder / "sub.b");
}

// ---- saving ----

TEST_F(FileChoosers, ANewFileIsMadeAtOnce)
{
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(chooser.findChild<QLineEdit *>("fileNameEdit")->text(), "Untitled");
        EXPECT_FALSE(chooser.findChild<QComboBox *>("fileTypeCombo")->isVisible());
        EXPECT_EQ(chooser.windowTitle(), "Save pdf file as");
        press_accept(chooser);
    });
    EXPECT_EQ(put_file1(), folder / "Untitled");
    EXPECT_EQ(folder.names(), strings{"Untitled"});
    user.in_chooser([](QFileDialog &chooser) { press(chooser, Qt::Key_Return); });
    EXPECT_EQ(put_file1("console.log"), folder / "console.log");
    EXPECT_STREQ(replyFileName, "console.log");
}

TEST_F(FileChoosers, AnExistingFileIsEmptiedWhenTheUserSaysSo)
{
    folder.write("a.pdf", "old");
    user.in_chooser([](QFileDialog &chooser) { press_accept(chooser); });
    user.reads(folder / "a.pdf" + " exists already. Replace it?"); // Escape: no
    user.cancels();
    EXPECT_EQ(put_file1("a.pdf"), "none");
    EXPECT_EQ(read_file(folder / "a.pdf"), "old");

    user.in_chooser([](QFileDialog &chooser) { press_accept(chooser); });
    user.in_message([](QMessageBox &box) { // nor does the Return key alone
        EXPECT_EQ(box.defaultButton(), box.button(QMessageBox::Cancel));
        press(box, Qt::Key_Return);
    });
    user.in_chooser([](QFileDialog &chooser) { press_accept(chooser); });
    user.in_message([&](QMessageBox &box) {
        EXPECT_EQ(read_file(folder / "a.pdf"), "old");
        for (QAbstractButton *button : box.buttons())
            if (button->text() == "&Replace")
                QTest::mouseClick(button, Qt::LeftButton);
    });
    EXPECT_EQ(put_file1("a.pdf"), folder / "a.pdf");
    EXPECT_EQ(read_file(folder / "a.pdf"), "");
    EXPECT_TRUE(file_exists(folder / "a.pdf"));
}

TEST_F(FileChoosers, TheFileThatIsBeingConvertedIsRefusedHoweverItIsCalled)
{
    folder.write("in.pdf", "precious");
    fs::create_symlink("in.pdf", folder / "link.pdf");
    fs::create_hard_link(folder / "in.pdf", folder / "hard.pdf");
    platform::copy_whole(in_file, (folder / "in.pdf").c_str());
    folder.make_folder("sub");
    for (const char *name : {"in.pdf", "link.pdf", "hard.pdf", "sub/../in.pdf"}) {
        user.in_chooser([name](QFileDialog &chooser) {
            type_name(chooser, name);
            press_accept(chooser);
        });
        user.reads(": the output would replace the input. Choose another name.");
        user.in_chooser([](QFileDialog &chooser) {
            type_name(chooser, "out.pdf");
            press_accept(chooser);
        });
        EXPECT_EQ(put_file1(), folder / "out.pdf");
        EXPECT_EQ(read_file(folder / "in.pdf"), "precious");
        fs::remove(folder / "out.pdf");
    }
    user.in_chooser([](QFileDialog &chooser) { click_row(chooser, "hard.pdf", 2); });
    user.reads("hard.pdf: the output would replace the input.");
    user.cancels();
    EXPECT_EQ(put_file1(), "none");
    EXPECT_EQ(read_file(folder / "in.pdf"), "precious");
}

TEST_F(FileChoosers, WhatCannotBeWrittenIsRefusedBeforeAnythingIsLost)
{
    if (getuid() != 0)
        GTEST_SKIP() << "needs two users";
    folder.make_folder("closed");
    folder.write("closed/old.pdf", "old");
    folder.write("kept.pdf", "kept");
    EXPECT_EQ(chmod((folder / "closed/old.pdf").c_str(), 0666), 0);
    EXPECT_EQ(chmod((folder / "closed").c_str(), 0755), 0);
    EXPECT_EQ(chmod((folder / "kept.pdf").c_str(), 0644), 0);
    const without_rights somebody;
    const std::pair<const char *, const char *> cases[] = {
        {"closed/x.pdf", ": nothing can be written into the folder "},
        {"closed/old.pdf", ": nothing can be written into the folder "},
        {"kept.pdf", ": the file can't be replaced: Permission denied."},
        {"absent/x.pdf", ": there is no folder "},
    };
    for (const auto &[name, message] : cases) {
        user.in_chooser([name](QFileDialog &chooser) {
            type_name(chooser, name);
            press_accept(chooser);
        });
        user.reads(message);
        user.cancels();
        EXPECT_EQ(put_file1(), "none") << name;
    }
    EXPECT_EQ(read_file(folder / "kept.pdf"), "kept");
    EXPECT_EQ(read_file(folder / "closed/old.pdf"), "old");
}

TEST_F(FileChoosers, AFolderThatCannotBeOpenedIsTold)
{
    if (getuid() != 0)
        GTEST_SKIP() << "needs two users";
    folder.make_folder("locked");
    EXPECT_EQ(chmod((folder / "locked").c_str(), 0700), 0);
    const without_rights somebody;
    user.in_chooser([](QFileDialog &chooser) {
        type_name(chooser, "locked");
        press_accept(chooser);
    });
    user.reads("/locked: the folder can't be opened: Permission denied.");
    user.cancels();
    EXPECT_EQ(get_file1(), "none");
}

TEST_F(FileChoosers, NamesTooLongForAFileAreRefused)
{
    for (const std::size_t length : {256U, 2000U}) {
        user.in_chooser([length](QFileDialog &chooser) {
            type_name(chooser, "");
            chooser.findChild<QLineEdit *>("fileNameEdit")
                ->setText(QString(static_cast<qsizetype>(length), 'n'));
            press_accept(chooser);
        });
        user.reads(length == 256 ? ": the file can't be written: File name too long."
                                 : ": the path is too long.");
        user.cancels();
        EXPECT_EQ(put_file1(), "none");
    }
    user.in_chooser([](QFileDialog &chooser) {
        type_name(chooser, std::string(255, 'n'));
        press_accept(chooser);
    });
    EXPECT_EQ(put_file1(), folder / std::string(255, 'n'));
}

TEST_F(FileChoosers, ADeviceIsTakenAndLeftAlone)
{
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0); // to open it would take for ever
    for (const std::string &path : {std::string("/dev/null"), folder / "pipe"}) {
        user.in_chooser([&](QFileDialog &chooser) {
            type_name(chooser, path);
            press_accept(chooser);
        });
        user.in_message([](QMessageBox &box) {
            for (QAbstractButton *button : box.buttons())
                if (button->text() == "&Replace")
                    QTest::mouseClick(button, Qt::LeftButton);
        });
        EXPECT_EQ(put_file1(), path);
    }
}

TEST_F(FileChoosers, ALinkToNothingYetIsWrittenThrough)
{
    fs::create_symlink("target.pdf", folder / "link.pdf");
    user.in_chooser([](QFileDialog &chooser) {
        type_name(chooser, "link.pdf");
        press_accept(chooser);
    });
    EXPECT_EQ(put_file1(), folder / "link.pdf");
    EXPECT_TRUE(fs::is_regular_file(folder / "target.pdf"));
}

// ---- folders and applications ----

TEST_F(FileChoosers, AFolderIsChosenByClickByNameOrAsItIsShown)
{
    folder.make_folder("sub");
    folder.write("file.ps", "");
    char path[path_size] = "unchanged";
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(chooser.windowTitle(), "Select a working folder");
        click_row(chooser, "sub");
        press_accept(chooser);
    });
    EXPECT_EQ(nav_get_working_folder1(path, "Select a working folder"), 1);
    EXPECT_EQ(path, folder / "sub");
    user.in_chooser([](QFileDialog &chooser) { press_accept(chooser); });
    EXPECT_EQ(nav_get_working_folder1(path, "Select a working folder"), 1);
    EXPECT_EQ(path, folder / "sub"); // it starts in the last one
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, folder.path());
        press_accept(chooser);
    });
    EXPECT_EQ(nav_get_working_folder1(path, "Select a working folder"), 1);
    EXPECT_EQ(path, folder.path());
    for (const auto &[name, message] : {std::pair("file.ps", ": this is a file, not a folder."),
                                        std::pair("absent", ": there is no such folder.")}) {
        user.in_chooser([name = name](QFileDialog &chooser) {
            type_name(chooser, name);
            press_accept(chooser);
        });
        user.reads(message);
        user.cancels();
        platform::copy_whole(path, "unchanged");
        EXPECT_EQ(nav_get_working_folder1(path, "Select a working folder"), 0);
        EXPECT_STREQ(path, "unchanged");
    }
}

TEST_F(FileChoosers, EveryApplicationIsListedForAnySignature)
{
    folder.write_program("script", "#!/bin/sh\n");
    fs::copy_file("/bin/true", folder / "program");
    folder.write("letter.txt", "text");
    folder.write("not_executable.sh", "#!/bin/sh\n");
    folder.make_folder("Some.app/Contents");
    char path[path_size] = "unchanged";
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(listed(chooser, 3), (strings{"Some.app", "program", "script"}));
        click_row(chooser, "program");
        press_accept(chooser);
    });
    EXPECT_EQ(nav_get_app1("Select an application", path, four_chars("****"), 0), 1);
    EXPECT_EQ(path, folder / "program");
    user.in_chooser([](QFileDialog &chooser) { // a package is chosen, not entered
        EXPECT_FALSE(chooser.windowTitle().isEmpty());
        click_row(chooser, "Some.app");
        press_accept(chooser);
    });
    EXPECT_EQ(nav_get_app1("", path, four_chars("****"), 0), 1);
    EXPECT_EQ(path, folder / "Some.app");
    user.in_chooser(
        [](QFileDialog &chooser) { EXPECT_EQ(listed(chooser, 1), strings{"Some.app"}); });
    user.cancels();
    EXPECT_EQ(nav_get_app1("", path, four_chars("abcd"), 0), 0);
    EXPECT_EQ(path, folder / "Some.app");
}

// ---- the ways in ----

TEST_F(FileChoosers, TheFolderOfAnInputIsRemembered)
{
    folder.make_folder("sub");
    folder.write("sub/a.ps", "");
    char path[path_size] = "old";
    user.in_chooser([&](QFileDialog &chooser) {
        EXPECT_EQ(chooser.windowTitle(), "Select an input file");
        EXPECT_EQ(popup_of(chooser), (strings{"All files with .ps extension", "All files"}));
        type_name(chooser, "sub/a.ps");
        press_accept(chooser);
    });
    EXPECT_EQ(get_input_file(path, ".ps"), 1);
    EXPECT_EQ(path, folder / "sub/a.ps");
    EXPECT_STREQ(get_str_resource("TEXDIR"), (folder / "sub").c_str());
    user.cancels();
    EXPECT_EQ(get_input_file(path, nullptr), 0);
    EXPECT_STREQ(path, "");
    EXPECT_STREQ(get_str_resource("TEXDIR"), (folder / "sub").c_str());
    user.in_chooser([](QFileDialog &chooser) { click_row(chooser, "a.ps", 2); });
    EXPECT_EQ(get_input_file(path, nullptr), 1); // a cancel is over with its chooser
    EXPECT_EQ(path, folder / "sub/a.ps");
}

TEST_F(FileChoosers, CancelEmptiesThePathsOfAConversionAlone)
{
    char path[path_size] = "old";
    user.cancels();
    EXPECT_EQ(get_file(path, nullptr), 0);
    EXPECT_STREQ(path, "old");
    user.cancels();
    EXPECT_EQ(put_file("Save console output as", "console.log", path), 0);
    EXPECT_STREQ(path, "old");
    user.cancels();
    EXPECT_EQ(get_working_folder(path, "Select a working folder"), 0);
    EXPECT_STREQ(path, "old");
    user.cancels();
    EXPECT_EQ(put_output_file(path, "Save pdf file as", nullptr), 0);
    EXPECT_STREQ(path, "");
    EXPECT_EQ(folder.names(), strings{});
}

TEST_F(FileChoosers, AnOutputWithoutAProposedNameIsUntitled)
{
    char path[path_size] = "old";
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(chooser.windowTitle(), "Save text file as");
        press_accept(chooser);
    });
    EXPECT_EQ(put_output_file(path, "Save text file as", nullptr), 1);
    EXPECT_EQ(path, folder / "Untitled");
    user.in_chooser([](QFileDialog &chooser) { press_accept(chooser); });
    EXPECT_EQ(put_output_file(path, "Save text file as", "a.txt"), 1);
    EXPECT_EQ(path, folder / "a.txt");
    user.in_chooser([](QFileDialog &chooser) { press_accept(chooser); });
    EXPECT_EQ(put_file("Save console output as", "console.log", path), 1);
    EXPECT_EQ(path, folder / "console.log");
}

// ---- over the console ----

namespace {

int keys_in_console;

OSStatus swallow_key(EventHandlerCallRef /*call*/, EventRef /*event*/, void * /*userData*/)
{
    ++keys_in_console;
    return noErr;
}

} // namespace

TEST_F(FileChoosers, KeysTypedInTheChooserDoNotReachTheConsole)
{
    const Rect bounds = {10, 10, 300, 400};
    const unsigned char title[] = {1, 'P'};
    const WindowRef console = NewCWindow(nullptr, &bounds, title, 1, documentProc, nullptr, 1, 0);
    const EventTypeSpec keys = {kEventClassKeyboard, kEventRawKeyDown};
    InstallEventHandler(GetWindowEventTarget(console), NewEventHandlerUPP(swallow_key), 1, &keys,
                        nullptr);
    ASSERT_TRUE(QTest::qWaitFor([] { return QApplication::activeWindow() != nullptr; }));
    EXPECT_EQ(FrontWindow(), console);
    keys_in_console = 0;
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_NE(chooser.parentWidget(), nullptr);
        EXPECT_EQ(FrontWindow(), nullptr);
        type_name(chooser, "new.pdf");
        press(chooser, Qt::Key_Return);
    });
    EXPECT_EQ(put_file1(), folder / "new.pdf");
    EXPECT_EQ(keys_in_console, 0);
    DisposeWindow(console);
}

// ---- what is handed over ----

TEST_F(FileChoosers, AChooserThatIsDisposedOfIsNone)
{
    NavDialogCreationOptions options;
    ASSERT_EQ(NavGetDefaultDialogCreationOptions(&options), noErr);
    EXPECT_EQ(options.optionFlags, 0xE4U);
    NavDialogRef dialog = nullptr;
    ASSERT_EQ(NavCreateChooseFolderDialog(&options, nullptr, nullptr, nullptr, &dialog), noErr);
    NavReplyRecord reply;
    EXPECT_EQ(NavDialogGetReply(dialog, &reply), kNavWrongDialogStateErr);
    EXPECT_EQ(NavDialogGetUserAction(dialog), kNavUserActionNone);
    NavDialogDispose(dialog);
    NavDialogDispose(dialog);
    NavDialogDispose(nullptr);
    EXPECT_EQ(NavDialogRun(dialog), kNavWrongDialogStateErr);
}
