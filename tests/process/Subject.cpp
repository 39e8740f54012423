// A program that does what its standard input says, for process_test.py: an operation in each line, with its arguments
// behind it. What it answers is a line of the output; "try" in front turns an exception into its code.
#include <dlfcn.h>
#include <signal.h>

#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>
#include <tvk/process/CriticalSection.h>
#include <tvk/process/Language.h>
#include <tvk/process/Module.h>
#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/Profiling.h>
#include <tvk/process/Singleton.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/process/ThreadGroup.h>
#include <tvk/text/Exception.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/ProgramName.h>
#include <tvk/time/DateTime.h>

#include "support/Support.h"

namespace {

using namespace tvk;
using Words = std::vector<std::string>;

int s_count;
char** s_arguments;
int doLines();

void say(const std::string& text) { std::cout << text << '\n'; }
void say(std::same_as<bool> auto is) { say(is ? "yes" : "no"); }
const char* orNull(const std::string& word) { return word == "null" ? nullptr : word.c_str(); }

struct Tool : Application {
  explicit Tool(std::string refuses) : Application("TL", "tool"), m_refuses(std::move(refuses)) {}
  bool Init() override { return Application::Init() && m_refuses != "init"; }
  bool Exit() override { return say("exit"), m_refuses != "exit"; }
  std::int32_t Main() override { return doLines(); }
  std::string m_refuses;
};

void run(const std::string& way) {
  std::atexit([] { say(Console::Existing() == nullptr ? "end" : "end with console"); });
  if (way == "alone") std::exit(Application::Run("/opt/app/tool", ""));
  std::optional<Tool> tool(way);
  const int status = Application::Main(way == "nameless" ? 0 : s_count, s_arguments);
  tool.reset();
  std::exit(status);
}

void tellProgram() {
  const Application& self = *Application::GetApplication();
  const ArgumentList& list = ArgumentList::OfProcess();
  say(self.GetPath() + ", " + self.GetCommandLine());
  for (std::size_t i = 0; i < list.Count(); ++i) say(list[i]);
  for (const int part : {LC_CTYPE, LC_TIME, LC_NUMERIC, LC_COLLATE}) say(setlocale(part, nullptr));
}

void raiseKind(const std::string& kind, const std::string& value) {
  if (kind == "number") throw 5;
  if (kind == "standard") throw std::runtime_error(value);
  if (kind == "abort") throw AbortException(Exception(std::stoi(value)));
  throw Exception::Of(std::stoi(kind), value);
}

struct Frame : Module {
  using Module::Module;
  FileString GetPath() const override { return path; }
  void GetLanguageName(StringBase<char>& name) const override { name = language; }
  bool Init() override { return Module::Init() && starts; }
  std::string path, language;
  bool starts = true;
};
std::vector<std::unique_ptr<Frame>> s_frames;

void tellName(const std::string& code) {
  const char* const name = Language::NameOf(static_cast<std::uint32_t>(std::stoul(code)));
  say(name != nullptr ? name : "none");
}

void tellFrames() {
  std::string current = "none, ", module = "none, ";
  if (StartUp::IsStarted()) current = StartUp::Get()->GetName() + ", ";
  if (Module::GetModule() != nullptr) module = Module::GetModule()->GetName() + ", ";
  const char* const services = DateTimeInit::StartTime() != nullptr ? ", up" : ", down";
  say(current + module + ProgramName::Get() + ", " + ProgramName::CodePrefix() + services);
}

struct Service : AutoInitBase {
  explicit Service(std::string name) : m_name(std::move(name)) {}
  ~Service() override { say("deleted " + m_name); }
  void Init() override { Tell("init ", "c"); }
  void Exit() override { Tell("exit ", "d"); }
  void Tell(const char* what, const char* next) {
    say(what + m_name);
    if (m_name == "b") Register(std::make_unique<Service>(next));
  }
  std::string m_name;
};

// Takes so long to be made that others ask meanwhile.
struct Shared;
std::atomic<Shared*> s_shared{nullptr};
struct Shared {
  Shared() { Thread::Sleep(5), say("made"); }
  ~Shared() { say(s_shared == nullptr ? "gone" : "dangling"); }
  static void Get() {
    ProcessWide(s_shared, [] { return std::make_unique<Shared>(); });
  }
};

struct Entry : Singleton {
  explicit Entry(std::string name = "entry") : m_name(std::move(name)) {}
  ~Entry() override {
    say(m_name + (Console::Existing() != nullptr ? " before the console" : ""));
    if (m_name == "asks") Shared::Get();
  }
  std::string m_name;
};
std::map<std::string, Entry*> s_entries;

void shareByMany() {
  std::vector<std::jthread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back(Shared::Get);
}

// Whoever holds the lock of the thread records while the process goes down keeps the others out.
void shutDownUnderTheLock() {
  std::atomic<bool> isHeld = false, isDown = false, isFree = false;
  const std::jthread holder([&] {
    const CriticalSectionLock lock(CriticalSection::Global());
    for (isHeld = true; !isDown;) Thread::Yield();
    Thread::Sleep(20);
    isFree = true;
  });
  while (!isHeld) Thread::Yield();
  StartUp::ShutDown();
  isDown = true;
  const CriticalSectionLock lock(CriticalSection::Global());
  say(isFree.load());
}

SharedLibrary s_library, s_other;
std::optional<LoadedModule> s_kept;

void loadLanguage(const Words& words) {
  s_frames[0]->path = words[0];
  s_frames[0]->language = words[1];
  s_frames[0]->LoadLanguageModule(words[2].c_str());
}

void tellModules(const std::string& kept) {
  for (LoadedModule& each : LoadedModules()) {
    std::string line = each.Path() + ":";
    for (const char* name : {"GetStrings", "InBoth", "malloc"})
      if (each.Symbol(name) != each.Symbol(nullptr)) line += std::string(" ") + name;
    say(line);
    if (each.Path() == kept) s_kept = std::move(each);
  }
}

void tellMachine() {
  StringBase<char> name = "before", addresses;
  std::vector<HostAddress> list(3);
  say(SystemInfo::GetHostName(name, true) && SystemInfo::GetInterfaceAddresses(list, false));
  for (const HostAddress& each : list) addresses += each.ToText() + " ";
  say(name + "\n" + addresses + "\n" + SystemInfo::GetOsDescription());
  say(SystemInfo::IsAdministrator());
  say(std::to_string(SystemInfo::GetTickCount()));
  std::tm time{};
  time.tm_year = 124, time.tm_mon = 5, time.tm_mday = 31, time.tm_hour = 12;
  for (time.tm_isdst = -1; time.tm_isdst < 2; ++time.tm_isdst) say(std::to_string(SystemInfo::ToUtc(time)));
  SystemInfo::SetLastError(EIO);
  for (const int code : {0, ENOENT, -1, 4711}) say(SystemInfo::GetErrorText(code));
  say(std::to_string(SystemInfo::GetLastError()));
}

void tellText() {
  StringBase<char> out;
  loadMessage("tvk", 1001, false, out);
  say(out);
}

void profile() {
  ProfilingImpl run("run");
  ProfilingImpl& part = run.AddChild("part");
  part.AddChild("detail").AddMilliseconds(1259);
  part.AddMilliseconds(100'009);
  say(run.Report());
  for (const ProfilingScope scope(run); run.TotalMilliseconds() < 2; run.Start()) run.Stop();
}

void lockCopies(std::size_t count) TVK_NO_THREAD_SAFETY_ANALYSIS {
  CriticalSection held, assigned;
  held.Lock();
  CriticalSection copy(held);
  assigned = held;
  CriticalSection* const sections[] = {&copy, &assigned, &held};
  for (std::size_t i = 0; i < count; ++i) sections[i]->Lock();
  for (CriticalSection* each : sections) each->Unlock();
  say("locked");
}

// Where threads and their test meet: they wait inside Run() until the gate opens, and may have a task behind it.
struct Gate {
  std::atomic<bool> isOpen{false};
  std::atomic<int> entered{0}, left{0};
  std::string task;
};
std::map<std::string, Gate> s_gates;

// Needs the object only until Run() is entered, if there is no task.
struct Worker : Thread {
  void* Run(void* arg) override {
    Gate& gate = *static_cast<Gate*>(arg);
    for (++gate.entered; !gate.isOpen;) Sleep(1);
    if (gate.task == "throw") throw 1;
    if (gate.task == "target") target->Join();
    if (gate.task == "itself") JoinItself();
    ++gate.left;
    return nullptr;
  }
  void JoinItself();
  Thread* target = nullptr;
};
std::map<std::string, Worker> s_threads;
ThreadGroup s_group;

void Worker::JoinItself() {
  Thread& self = s_threads["self"];
  self = Current();
  say(self.Join() || Join());
  say(self == *this);
  ExitCurrent();
}

bool start(const std::string& name, const std::string& gate, bool joinable, const std::string& task) {
  s_gates[gate].task = task;
  s_threads[name].target = &s_threads["target"];
  return s_threads[name].Start(&s_gates[gate], joinable);
}

void waitFor(const std::atomic<int>& count, const std::string& number) {
  while (count < std::stoi(number)) Thread::Yield();
}

const std::map<std::string, std::function<void(const Words&)>> s_operations = {
    {"application", [](const Words& words) { run(words[0]); }},
    {"slot", [](const Words&) { say(std::to_string(support::slotOf(&Application::HandleException))); }},
    {"program", [](const Words&) { tellProgram(); }},
    {"throw", [](const Words& words) { raiseKind(words[0], words[1]); }},
    {"console", [](const Words&) { Console::Get() << "console" << std::endl; }},
    {"fail", [](const Words&) { Console::Get().setstate(std::ios::failbit); }},
    {"raise", [](const Words& words) { raise(std::stoi(words[0])); }},
    {"shell", [](const Words& words) { say(std::to_string(system(words[0].c_str()))); }},
    {"set", [](const Words& words) { setenv(words[0].c_str(), words[1].c_str(), 1); }},
    {"language", [](const Words&) { say(std::to_string(Language::OfUser())); }},
    {"chosen", [](const Words& words) { say(std::to_string(Language::FromVariable(words[0].c_str()))); }},
    {"named", [](const Words& words) { tellName(words[0]); }},
    {"frame",
     [](const Words& words) {
       s_frames.push_back(std::make_unique<Frame>(orNull(words[1]), orNull(words[0])));
     }},
    {"leave", [](const Words& words) { s_frames.at(std::stoul(words[0])).reset(); }},
    {"refuse", [](const Words&) { s_frames.at(0)->starts = false; }},
    {"frames", [](const Words&) { tellFrames(); }},
    {"init", [](const Words&) { say(s_frames.at(0)->Init()); }},
    {"exit", [](const Words&) { say(s_frames.at(0)->Exit()); }},
    {"start", [](const Words&) { say(Module::Start(s_frames.empty() ? nullptr : s_frames[0].get())); }},
    {"stop", [](const Words&) { say(Module::Stop()); }},
    {"shutdown", [](const Words&) { StartUp::ShutDown(); }},
    {"locked", [](const Words&) { shutDownUnderTheLock(); }},
    {"service", [](const Words& words) { AutoInitBase::Register(std::make_unique<Service>(words[0])); }},
    {"owner", [](const Words&) { AutoInitBase::Register(std::make_unique<AutoInit<Entry>>()); }},
    {"entry", [](const Words& words) { s_entries[words[0]] = new Entry(words[0]); }},
    {"delete", [](const Words& words) { delete s_entries[words[0]]; }},
    {"share", [](const Words&) { shareByMany(); }},
    {"load", loadLanguage},
    {"open", [](const Words& words) { say(s_library.Open(words[0], words[1] == "so")); }},
    {"close", [](const Words&) { s_library.Close(); }},
    {"move", [](const Words&) { s_other = SharedLibrary(std::move(s_library)); }},
    {"strings", [](const Words&) { s_library.LoadStrings(); }},
    {"symbol", [](const Words& words) { say(s_library.GetSymbol(orNull(words[0])) != nullptr); }},
    {"modules", [](const Words& words) { tellModules(words[0]); }},
    {"machine", [](const Words&) { tellMachine(); }},
    {"error", [](const Words&) { say(s_library.GetPath() + ": " + s_library.LastError()); }},
    {"text", [](const Words&) { tellText(); }},
    {"profile", [](const Words&) { profile(); }},
    {"lock", [](const Words& words) { lockCopies(std::stoul(words[0])); }},
    {"run", [](const Words& words) { say(start(words[0], words[1], true, words[2])); }},
    {"detach", [](const Words& words) { say(start(words[0], words[1], false, words[2])); }},
    {"join", [](const Words& words) { say(s_threads[words[0]].Join()); }},
    {"cancel", [](const Words& words) { say(s_threads[words[0]].Cancel()); }},
    {"forget", [](const Words& words) { say(s_threads[words[0]].Forget()); }},
    {"valid", [](const Words& words) { say(s_threads[words[0]].IsValid()); }},
    {"shared", [](const Words& words) { say(s_threads[words[0]].IsShared()); }},
    {"copy", [](const Words& words) { static_cast<Thread&>(s_threads[words[0]]) = s_threads[words[1]]; }},
    {"same", [](const Words& words) { say(s_threads[words[0]] == s_threads[words[1]]); }},
    {"less", [](const Words& words) { say(s_threads[words[0]] < s_threads[words[1]]); }},
    {"drop", [](const Words& words) { s_threads.erase(words[0]); }},
    {"await",
     [](const Words& words) {
       while (s_threads[words[0]].IsValid()) Thread::Yield();
     }},
    {"pass", [](const Words& words) { s_gates[words[0]].isOpen = true; }},
    {"entered", [](const Words& words) { waitFor(s_gates[words[0]].entered, words[1]); }},
    {"left", [](const Words& words) { waitFor(s_gates[words[0]].left, words[1]); }},
    {"sleep", [](const Words&) { Thread::Sleep(20); }},
    {"add", [](const Words& words) { say(s_group.Add(s_threads[words[0]])); }},
    {"group", [](const Words& words) { say(s_group.Cancel(s_threads[words[0]].GetId())); }},
    {"joinall", [](const Words&) { say(s_group.JoinAll()); }},
};

int doLines() {
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream in(line);
    Words words;
    for (std::string word; in >> word;) words.push_back(word == "''" ? "" : word);
    words.resize(words.size() + 4);
    const bool tries = words[0] == "try";
    words.erase(words.begin(), words.begin() + tries);
    const std::string operation = words[0];
    words.erase(words.begin());
    if (operation == "return") return std::stoi(words[0]);
    try {
      s_operations.at(operation)(words);
    } catch (const Exception& e) {
      if (!tries) throw;
      say(std::to_string(e.GetCode()));
    }
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  s_count = argc, s_arguments = argv;
  return doLines();
}
