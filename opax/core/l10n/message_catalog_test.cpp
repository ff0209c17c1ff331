#include <opax/core/l10n/message_catalog.h>

#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/l10n/localizer.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message.h>
#include <opax/core/message/message_ids.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

namespace Opax {
namespace L10n {
namespace {

namespace fs = std::filesystem;
namespace Ids = MessageIds;
using Data::DataValue;
using Data::ErrorValue;

class Files {
 public:
  Files() : dir_(fs::temp_directory_path() / ("opax_l10n_" + std::to_string(::getpid()) + "_" + Name())) {
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  ~Files() { fs::remove_all(dir_); }

  std::string Write(std::string const& name, std::string const& content) const {
    std::ofstream(dir_ / name, std::ios::binary) << content;
    return (dir_ / name).string();
  }
  std::string dir() const { return dir_.string(); }

 private:
  static std::string Name() { return ::testing::UnitTest::GetInstance()->current_test_info()->name(); }
  fs::path dir_;
};

std::string ShippedGerman() {
  std::string const here = __FILE__;
  return here.substr(0, here.find_last_of('/') + 1) + "messages/de.msg";
}

// Which of the marker arguments a rendered text shows: its placeholders, whatever their order.
std::set<std::string> Shown(std::string const& text, std::vector<std::string> const& markers) {
  std::set<std::string> shown;
  for (std::string const& marker : markers) {
    if (text.find(marker) != std::string::npos) shown.insert(marker);
  }
  return shown;
}

TEST(ShippedCatalogue, GermanCoversExactlyTheEnglishTableWithTheSamePlaceholders) {
  MessageCatalog catalog;
  std::list<BaseMessage> messages;
  ASSERT_TRUE(catalog.LoadFile(ShippedGerman(), "de", messages)) << messages.front();

  std::set<std::string> translated;
  std::ifstream in(ShippedGerman());
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line[0] != '#') translated.insert(line.substr(0, line.find(" = ")));
  }
  std::vector<std::string> const ids = Message<CoreTag>::Ids();
  EXPECT_EQ(translated, std::set<std::string>(ids.begin(), ids.end()));

  std::vector<std::string> markers;
  for (int i = 0; i < 10; ++i) markers.push_back("<" + std::to_string(i) + ">");
  for (std::string const& id : ids) {
    std::string const german = catalog.TextFor("de", id, markers);
    std::string const english = Message<CoreTag>::TextFor(id, markers);
    // A text that is nothing but its placeholders reads the same in every language.
    bool const words = english.find_first_not_of("<>0123456789 ") != std::string::npos;
    if (words) {
      EXPECT_NE(german, english) << id;
    }
    EXPECT_EQ(Shown(german, markers), Shown(english, markers)) << id << ": " << german;
  }
  EXPECT_TRUE(MessageCatalog().LoadDirectory(MessageCatalog::DefaultDirectory(), messages));
}

TEST(MessageCatalog, LoadsCommentsEscapesAndLineEndsAndFallsBackToEnglish) {
  Files files;
  std::string const path = files.Write("de.msg",
                                       "\xEF\xBB\xBF# Kommentar\r\n"
                                       "\n"
                                       "   # eingerückter Kommentar\n"
                                       "opax.task.unknown\t=  Keine Aufgabe '{0}'. \r\n"
                                       "opax.invoke.undeclared.error = {1}\\n\\t{{0}} = \\\\{0}\n"
                                       "opax.task.canceled=läuft: {0}");
  MessageCatalog catalog;
  std::list<BaseMessage> messages;
  ASSERT_TRUE(catalog.LoadFile(path, "DE", messages)) << messages.front();
  EXPECT_TRUE(messages.empty());
  EXPECT_EQ(catalog.languages(), std::vector<std::string>{"de"});

  EXPECT_EQ(catalog.TextFor("de", Ids::kTaskUnknown, {"t1"}), "Keine Aufgabe 't1'.");
  EXPECT_EQ(catalog.TextFor("De", Ids::kUndeclaredError, {"op", "E"}), "E\n\t{0} = \\op");
  EXPECT_EQ(catalog.TextFor("de", Ids::kTaskCanceled, {"t2"}), "läuft: t2");
  EXPECT_EQ(catalog.TextFor("de", Ids::kInvalidInput, {"op"}), "The input of operation 'op' is not valid.");
  EXPECT_EQ(catalog.TextFor("fr", Ids::kTaskUnknown, {"t1"}), "There is no task with the id 't1'.");
  EXPECT_EQ(catalog.TextFor("de", "no.such.id", {"a"}), "Message 'no.such.id' (arguments: 'a')");
}

struct BadFile {
  char const* name;
  std::string content;
  char const* id;
  std::size_t line;
  std::vector<std::string> more;  // the arguments after the file and the line
};

TEST(MessageCatalog, RejectsAFileWithAFaultyLineNamingFileAndLine) {
  std::string const ok = "opax.task.unknown = Keine Aufgabe '{0}'.\n";
  std::string const tooLong =
      "opax.task.canceled = " + std::string(MessageCatalog::kMaxLineBytes, 'x') + "\n";
  std::vector<BadFile> const cases = {
      {"no equals sign", ok + "opax.task.canceled\n", Ids::kCatalogLineMalformed, 2, {}},
      {"no id", "= Text\n", Ids::kCatalogLineMalformed, 1, {}},
      {"id with a space", "opax.task running = x\n", Ids::kCatalogLineMalformed, 1, {}},
      {"no text", ok + "opax.task.canceled = \t\n", Ids::kCatalogLineMalformed, 2, {}},
      {"unknown escape", "opax.task.unknown = C:\\data {0}\n", Ids::kCatalogEscape, 1, {}},
      {"backslash at the end", "opax.task.unknown = {0} \\", Ids::kCatalogEscape, 1, {}},
      {"unknown id", ok + "opax.task.unknwon = {0}\n", Ids::kCatalogUnknownId, 2, {"opax.task.unknwon"}},
      {"id twice",
       ok + "#\nopax.task.unknown = {0}\n",
       Ids::kCatalogDuplicateId,
       3,
       {Ids::kTaskUnknown, "1"}},
      {"placeholder not in English",
       "opax.task.unknown = {1}\n",
       Ids::kCatalogPlaceholder,
       1,
       {"{1}", Ids::kTaskUnknown}},
      {"huge placeholder",
       "opax.task.unknown = {0}{99999999999999999999}",
       Ids::kCatalogPlaceholder,
       1,
       {"{1000000}", Ids::kTaskUnknown}},
      {"placeholder in a text without any",
       "opax.invoke.terminated = {0}",
       Ids::kCatalogPlaceholder,
       1,
       {"{0}", Ids::kTerminated}},
      {"bad UTF-8 lead", ok + "opax.task.canceled = \xC3\x28 {0}\n", Ids::kCatalogUtf8, 2, {}},
      {"overlong UTF-8", "# \xC0\xAF\n", Ids::kCatalogUtf8, 1, {}},
      {"UTF-16 surrogate", "opax.task.unknown = \xED\xA0\x80\n", Ids::kCatalogUtf8, 1, {}},
      {"truncated UTF-8 at the end", ok + "opax.task.canceled = \xE2\x82", Ids::kCatalogUtf8, 2, {}},
      {"Latin-1 file", "opax.task.unknown = Aufgabe f\xFCr {0}\n", Ids::kCatalogUtf8, 1, {}},
      {"line too long",
       ok + "\n" + tooLong,
       Ids::kCatalogLineTooLong,
       3,
       {std::to_string(MessageCatalog::kMaxLineBytes)}},
  };
  Files files;
  for (BadFile const& bad : cases) {
    SCOPED_TRACE(bad.name);
    std::string const path = files.Write("bad.msg", bad.content);
    MessageCatalog catalog;
    std::list<BaseMessage> messages;
    EXPECT_FALSE(catalog.LoadFile(path, "de", messages));
    EXPECT_TRUE(catalog.languages().empty()) << "a rejected file added texts";
    ASSERT_EQ(messages.size(), 1u);
    std::vector<std::string> expected = {path, std::to_string(bad.line)};
    expected.insert(expected.end(), bad.more.begin(), bad.more.end());
    EXPECT_EQ(messages.front().id(), bad.id) << messages.front();
    EXPECT_EQ(messages.front().args(), expected) << messages.front();
  }
}

TEST(MessageCatalog, ReportsEveryFaultyLineUpToALimitAndKeepsWhatWasLoaded) {
  Files files;
  MessageCatalog catalog;
  std::list<BaseMessage> messages;
  ASSERT_TRUE(catalog.LoadFile(files.Write("de.msg", "opax.task.unknown = Alt {0}\n"), "de", messages));

  std::string const three = files.Write("three.msg", "a\nopax.task.unknown = ok {0}\nb\nc = \\q\n");
  EXPECT_FALSE(catalog.LoadFile(three, "de", messages));
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages.back().id(), Ids::kCatalogEscape);

  messages.clear();
  EXPECT_FALSE(catalog.LoadFile(files.Write("many.msg", std::string(1000, '\n') + std::string(1000, 'x')),
                                "de", messages));
  EXPECT_FALSE(catalog.LoadFile(files.Write("lines.msg", std::string(100000, '\n') + "x\n"), "de", messages));
  EXPECT_EQ(messages.size(), 2u);
  messages.clear();
  std::string garbage;
  for (int i = 0; i < 100; ++i) garbage += "junk\n";
  EXPECT_FALSE(catalog.LoadFile(files.Write("junk.msg", garbage), "de", messages));
  EXPECT_EQ(messages.size(), MessageCatalog::kMaxReportedLines);

  EXPECT_EQ(catalog.TextFor("de", Ids::kTaskUnknown, {"1"}), "Alt 1") << "a rejected file replaced texts";
}

TEST(MessageCatalog, RejectsFilesThatCannotBeReadOrAreTooLargeOrLanguagesThatAreNotTags) {
  Files files;
  std::string const good = files.Write("good.msg", "opax.task.unknown = {0}\n");
  struct Case {
    std::string path;
    std::string language;
    char const* id;
  };
  std::vector<Case> const cases = {
      {files.dir() + "/missing.msg", "de", Ids::kCatalogUnreadable},
      {files.dir(), "de", Ids::kCatalogUnreadable},
      {files.Write("big.msg", std::string(MessageCatalog::kMaxFileBytes + 1, '\n')), "de",
       Ids::kCatalogTooLarge},
      {good, "en", Ids::kCatalogLanguage},
      {good, "EN", Ids::kCatalogLanguage},
      {good, "", Ids::kCatalogLanguage},
      {good, "de_DE", Ids::kCatalogLanguage},
      {good, "../de", Ids::kCatalogLanguage},
      {good, "de-", Ids::kCatalogLanguage},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.path + " as '" + c.language + "'");
    MessageCatalog catalog;
    std::list<BaseMessage> messages;
    EXPECT_FALSE(catalog.LoadFile(c.path, c.language, messages));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().id(), c.id);
    EXPECT_EQ(messages.front().args().front(), c.path);
  }
  MessageCatalog catalog;
  std::list<BaseMessage> messages;
  EXPECT_TRUE(catalog.LoadFile(files.Write("at.msg", std::string(MessageCatalog::kMaxFileBytes, '\n')),
                               "de-AT", messages));
}

TEST(MessageCatalog, LoadsADirectoryKeepingTheGoodFiles) {
  Files files;
  files.Write("de.msg", "opax.task.unknown = Keine Aufgabe '{0}'.\n");
  files.Write("fr.msg", "opax.task.unknown = {7}\n");
  files.Write("it.txt", "not a catalogue");
  files.Write("en.msg.bak", "neither");
  MessageCatalog catalog;
  std::list<BaseMessage> messages;
  EXPECT_FALSE(catalog.LoadDirectory(files.dir(), messages));
  EXPECT_EQ(catalog.languages(), std::vector<std::string>{"de"});
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), Ids::kCatalogPlaceholder);

  messages.clear();
  EXPECT_FALSE(catalog.LoadDirectory(files.dir() + "/none", messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), Ids::kCatalogDirectory);
}

MessageCatalog CatalogOf(std::vector<std::string> const& languages) {
  Files files;
  MessageCatalog catalog;
  std::list<BaseMessage> messages;
  for (std::string const& language : languages) {
    EXPECT_TRUE(catalog.LoadFile(files.Write("x.msg", "opax.task.unknown = " + language + " {0}\n"), language,
                                 messages));
  }
  return catalog;
}

TEST(MessageCatalog, ChoosesAsAcceptLanguageUsersExpect) {
  MessageCatalog const catalog = CatalogOf({"de", "fr-CA", "pt-br", "pt-pt"});
  struct Case {
    std::vector<std::string> preferred;
    char const* chosen;
  };
  std::vector<Case> const cases = {
      {{"de"}, "de"},
      {{"de-CH"}, "de"},
      {{"DE-ch"}, "de"},
      {{"de-Latn-CH-1996"}, "de"},
      {{"fr"}, "fr-ca"},
      {{"FR-ca"}, "fr-ca"},
      {{"fr-FR"}, "en"},
      {{"pt"}, "pt-br"},
      {{"pt-PT"}, "pt-pt"},
      {{"it", "de"}, "de"},
      {{"en-US", "de"}, "en"},
      {{"*", "de"}, "en"},
      {{"d", "deu"}, "en"},
      {{""}, "en"},
      {{}, "en"},
  };
  for (Case const& c : cases) {
    EXPECT_EQ(catalog.Choose(c.preferred), c.chosen) << ::testing::PrintToString(c.preferred);
  }
}

TEST(MessageCatalog, LocalizesEveryMessageOfAnErrorAndSharesEverythingElse) {
  MessageCatalog catalog;
  std::list<BaseMessage> messages;
  ASSERT_TRUE(catalog.LoadFile(ShippedGerman(), "de", messages));

  auto nested =
      ErrorValue::GetInstance(ErrorIds::kError, {BaseMessage::Make(Ids::kUnknownMethod, {"Vm", "start"})});
  auto error = ErrorValue::GetInstance(ErrorIds::kNotFound,
                                       {BaseMessage::Make(Ids::kTaskUnknown, {"task-7"}),
                                        BaseMessage("com.example.custom", "A text of its own.", {})});
  auto unknown = Data::StructValue::GetInstance("com.example.extra");
  unknown->SetField("note", DataValue::Create(std::string("kept")));
  error->SetField("zz_unknown", unknown);
  error->SetField("data", Data::OptionalValue::GetInstance(nested));
  std::shared_ptr<ErrorValue const> const original = error;
  std::string const before = original->ToString();

  auto const localized = catalog.Localize(original, "DE");
  ASSERT_NE(localized, original);
  EXPECT_EQ(original->ToString(), before) << "the original changed";
  EXPECT_EQ(localized->name(), original->name());
  EXPECT_EQ(*localized->FindField("zz_unknown"), *original->FindField("zz_unknown")) << "not shared";
  std::list<BaseMessage> const got = localized->messages();
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got.front(),
            BaseMessage(Ids::kTaskUnknown, "Es gibt keine Aufgabe mit der ID 'task-7'.", {"task-7"}));
  EXPECT_EQ(got.back(), original->messages().back()) << "an id the catalogue lacks keeps its text";

  auto const& data = static_cast<Data::OptionalValue const&>(**localized->FindField("data"));
  auto const& inner = static_cast<ErrorValue const&>(*data.value());
  EXPECT_EQ(inner.messages().front().defaultMessage(),
            "Die Schnittstelle 'Vm' hat keine Operation namens 'start'.");

  // Field order and everything but the two texts are as they were.
  std::string expected = before;
  for (auto const& text : {std::make_pair(std::string("There is no task with the id 'task-7'."),
                                          std::string("Es gibt keine Aufgabe mit der ID 'task-7'.")),
                           std::make_pair(std::string("Interface 'Vm' has no operation named 'start'."),
                                          inner.messages().front().defaultMessage())}) {
    expected.replace(expected.find(text.first), text.first.size(), text.second);
  }
  EXPECT_EQ(localized->ToString(), expected);
}

TEST(MessageCatalog, LocalizeReturnsTheOriginalWhenNothingChanges) {
  MessageCatalog const catalog = CatalogOf({"de"});
  std::shared_ptr<ErrorValue const> const error =
      ErrorValue::GetInstance("e", {BaseMessage::Make(Ids::kTaskUnknown, {"1"})});
  EXPECT_EQ(catalog.Localize(error, "en"), error);
  EXPECT_EQ(catalog.Localize(error, "fr"), error);
  EXPECT_EQ(catalog.Localize(nullptr, "de"), nullptr);
  std::shared_ptr<ErrorValue const> const lacking =
      ErrorValue::GetInstance("e", {BaseMessage::Make(Ids::kTaskCanceled, {"1"})});
  EXPECT_EQ(catalog.Localize(lacking, "de"), lacking);
  auto const once = catalog.Localize(error, "de");
  EXPECT_EQ(catalog.Localize(once, "de"), once);

  // An argument that is not text (here a secret) is not rendered, so nothing of it can leak.
  auto secretive = ErrorValue::GetInstance("e", {BaseMessage::Make(Ids::kTaskUnknown, {"x"})});
  auto const& list = static_cast<Data::ListValue const&>(**secretive->FindField("messages"));
  auto message = Data::StructValue::GetInstance(Data::LocalizableMessageFields::kTypeName);
  message->SetField("id", DataValue::Create(std::string(Ids::kTaskUnknown)));
  message->SetField("default_message", DataValue::Create(std::string("hidden")));
  auto args = std::make_shared<Data::ListValue>(Data::Kind::Secret);
  args->values().push_back(DataValue::Create(SecretString("hunter2")));
  message->SetField("args", args);
  auto messageList = std::make_shared<Data::ListValue>(Data::Kind::Structure);
  messageList->values() = {list.values().front(), message};
  secretive->SetField("messages", messageList);
  auto const rendered = catalog.Localize(secretive, "de");
  EXPECT_EQ(rendered->ToString().find("hunter2"), std::string::npos);
  EXPECT_EQ(rendered->messages().back().defaultMessage(), "hidden");
  EXPECT_EQ(rendered->messages().front().defaultMessage(), "de x");
}

TEST(MessageCatalog, LocalizesAMessageBuriedDeepWithoutRecursion) {
  MessageCatalog const catalog = CatalogOf({"de"});
  std::shared_ptr<DataValue const> inner =
      ErrorValue::GetInstance("e", {BaseMessage::Make(Ids::kTaskUnknown, {"deep"})});
  for (int i = 0; i < 100000; ++i) {
    auto list = std::make_shared<Data::ListValue>(Data::Kind::Optional);
    list->values().push_back(Data::OptionalValue::GetInstance(std::move(inner)));
    auto structure = Data::StructValue::GetInstance("s");
    structure->SetField("next", std::move(list));
    inner = std::move(structure);
  }
  auto root = ErrorValue::GetInstance("root");
  root->SetField("data", inner);
  auto const localized = catalog.Localize(root, "de");
  ASSERT_NE(localized, root);
  EXPECT_NE(localized->ToString().find("de deep"), std::string::npos);
}

TEST(Localizer, ChoosesFromItsCatalogueAndLocalizesThroughIt) {
  auto catalog = std::make_shared<MessageCatalog>(CatalogOf({"de"}));
  Localizer const localizer{std::shared_ptr<MessageCatalog const>(catalog)};
  std::error_code error;
  TimezoneSpec const zone("Europe/Zurich");
  RequestLocalizer const request =
      localizer.ForRequest(LocaleHelpers::MakeLanguagePreference("de-CH, en;q=0.5", error), zone);
  EXPECT_EQ(request.language(), "de");
  EXPECT_EQ(request.timezone(), "Europe/Zurich");
  EXPECT_EQ(localizer.ForRequest(LanguagePreference({"fr", "EN-gb"}), zone).language(), "en");
  // Weights order the list, whatever order the header gives; q=0 refuses a language.
  EXPECT_EQ(localizer.ForRequest(LocaleHelpers::MakeLanguagePreference("en;q=0.1, de ; q=0.9", error), zone)
                .language(),
            "de");
  EXPECT_EQ(localizer.ForRequest(LocaleHelpers::MakeLanguagePreference("de;q=0, en", error), zone).language(),
            "en");
  for (char const* malformed : {"de;q=2", "de;q=0.1234", "de;q=1.5", "de;x=1", "de;q=", "d e"}) {
    EXPECT_TRUE(LocaleHelpers::MakeLanguagePreference(malformed, error).languages().empty()) << malformed;
    EXPECT_TRUE(error) << malformed;
  }

  std::shared_ptr<ErrorValue const> const value =
      ErrorValue::GetInstance("e", {BaseMessage::Make(Ids::kTaskUnknown, {"1"})});
  EXPECT_EQ(localizer.Localize(value, request)->messages().front().defaultMessage(), "de 1");

  // Without a catalogue, the list of languages decides as before and nothing is translated.
  Localizer const plain({"en", "fr"});
  EXPECT_EQ(plain.ForRequest(LanguagePreference({"fr-CA"}), zone).language(), "fr");
  EXPECT_EQ(plain.ForRequest(LanguagePreference({"FR"}), zone).language(), "en");
  EXPECT_EQ(plain.Localize(value, RequestLocalizer("fr", "UTC")), value);
  EXPECT_EQ(Localizer(nullptr).ForRequest(LanguagePreference({"de"}), zone).language(), "en");
}

}  // namespace
}  // namespace L10n
}  // namespace Opax
