// A stand-in for QuickBooks' request processor, "QBXMLRP2.RequestProcessor": an in-process COM
// server with the SDK's IDispatch methods (OpenConnection2, BeginSession, ProcessRequest,
// EndSession, CloseConnection). It plays QuickBooks back for the Windows tests, which register
// it in their Wine prefix with regsvr32.
//
// Its folder is named by ORVANE_QBXMLRP_STANDIN:
//   responses.txt   the files of the responses to give, one per request, in order
//   fail.txt        optional: "METHOD HRESULT STYLE" makes that method fail with that HRESULT,
//                   told as Automation servers do: STYLE "scode" fills EXCEPINFO.scode,
//                   "deferred" leaves it to pfnDeferredFillIn, "wcode" sets only wCode
//   calls.txt       written: one line per call, its name and its arguments, tab-separated
//   request-N.xml   written: the N-th request's text
// State lives in these files only, since COM may unload the library between two sessions.
//
// Arguments are taken as a type library's dispatcher takes them: coerced to the declared type
// (VariantChangeType), so that arguments passed in the wrong order fail as they would with the
// real processor.
// windows.h first: the COM headers build on it.
// clang-format off
#include <windows.h>
#include <oleauto.h>
// clang-format on

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

// {6E5C2A3B-4F1D-4B8E-9C27-5A1D3E8F0B42}
const CLSID kClassId = {
    0x6e5c2a3b, 0x4f1d, 0x4b8e, {0x9c, 0x27, 0x5a, 0x1d, 0x3e, 0x8f, 0x0b, 0x42}};
const wchar_t kClassIdText[] = L"{6E5C2A3B-4F1D-4B8E-9C27-5A1D3E8F0B42}";
const wchar_t kProgId[] = L"QBXMLRP2.RequestProcessor";
const wchar_t kTicket[] = L"{TICKET-0001}";

HMODULE module = nullptr;
LONG objects = 0;
LONG locks = 0;

std::filesystem::path fileNamed(const std::wstring& name) {
    wchar_t folder[MAX_PATH] = {};
    GetEnvironmentVariableW(L"ORVANE_QBXMLRP_STANDIN", folder, MAX_PATH);
    return std::filesystem::path(folder) / name;
}

std::string utf8(const std::wstring& text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0,
                                         nullptr, nullptr);
    std::string bytes(size_t(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), bytes.data(), size, nullptr,
                        nullptr);
    return bytes;
}

std::wstring wide(const std::string& bytes) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), int(bytes.size()), nullptr, 0);
    std::wstring text(size_t(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), int(bytes.size()), text.data(), size);
    return text;
}

std::vector<std::string> lines(const std::wstring& name) {
    std::ifstream file(fileNamed(name));
    std::vector<std::string> result;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            result.push_back(line);
    }
    return result;
}

void record(const std::wstring& line) {
    std::ofstream(fileNamed(L"calls.txt"), std::ios::app | std::ios::binary) << utf8(line) << "\n";
}

// How the call fails, if fail.txt names it.
struct Failure {
    HRESULT result = S_OK;
    std::string style;
};

Failure failureFor(const std::wstring& method) {
    for (const std::string& line : lines(L"fail.txt")) {
        std::istringstream words(line);
        std::string name, code, style;
        words >> name >> code >> style;
        if (wide(name) == method)
            return {HRESULT(std::stoul(code, nullptr, 16)), style};
    }
    return {};
}

// What a deferred fill-in tells; the library stays loaded while the caller handles the failure.
HRESULT deferredResult = S_OK;

HRESULT WINAPI fillInLater(EXCEPINFO* exception) {
    exception->scode = deferredResult;
    return S_OK;
}

HRESULT raise(const Failure& failure, EXCEPINFO* exception) {
    if (!exception)
        return failure.result;
    *exception = EXCEPINFO{};
    exception->bstrSource = SysAllocString(kProgId);
    exception->bstrDescription = SysAllocString(L"The stand-in request processor failed.");
    if (failure.style == "deferred") {
        deferredResult = failure.result;
        exception->pfnDeferredFillIn = fillInLater;
    } else if (failure.style == "wcode") {
        exception->wCode = WORD(failure.result & 0xffff);
    } else {
        exception->scode = failure.result;
    }
    return DISP_E_EXCEPTION;
}

std::wstring responseText(int number) {
    const std::vector<std::string> names = lines(L"responses.txt");
    if (number < 1 || size_t(number) > names.size())
        return L"";
    std::ifstream file(fileNamed(wide(names[size_t(number) - 1])), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return wide(text.str());
}

int nextRequestNumber() {
    int number = 1;
    while (std::filesystem::exists(fileNamed(L"request-" + std::to_wstring(number) + L".xml")))
        ++number;
    return number;
}

struct Method {
    const wchar_t* name;
    std::vector<VARTYPE> parameters;
    bool returnsText;
};

const std::vector<Method>& methods() {
    static const std::vector<Method> table{
        {L"OpenConnection2", {VT_BSTR, VT_BSTR, VT_I4}, false},
        {L"BeginSession", {VT_BSTR, VT_I4}, true},
        {L"ProcessRequest", {VT_BSTR, VT_BSTR}, true},
        {L"EndSession", {VT_BSTR}, false},
        {L"CloseConnection", {}, false},
    };
    return table;
}

class RequestProcessor final : public IDispatch {
public:
    RequestProcessor() { InterlockedIncrement(&objects); }
    ~RequestProcessor() { InterlockedDecrement(&objects); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (id == IID_IUnknown || id == IID_IDispatch) {
            *object = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ULONG(InterlockedIncrement(&references_)); }
    ULONG STDMETHODCALLTYPE Release() override {
        const LONG left = InterlockedDecrement(&references_);
        if (left == 0)
            delete this;
        return ULONG(left);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) override {
        HRESULT result = S_OK;
        for (UINT i = 0; i < count; ++i) {
            ids[i] = DISPID_UNKNOWN;
            for (size_t m = 0; m < methods().size(); ++m)
                if (i == 0 && lstrcmpiW(names[i], methods()[m].name) == 0)
                    ids[i] = DISPID(m + 1);
            if (ids[i] == DISPID_UNKNOWN)
                result = DISP_E_UNKNOWNNAME;
        }
        return result;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception,
                                     UINT* badArgument) override {
        if (id < 1 || size_t(id) > methods().size() || !(flags & DISPATCH_METHOD))
            return DISP_E_MEMBERNOTFOUND;
        const Method& method = methods()[size_t(id) - 1];
        if (parameters->cNamedArgs != 0)
            return DISP_E_NONAMEDARGS;
        if (parameters->cArgs != method.parameters.size())
            return DISP_E_BADPARAMCOUNT;
        // The caller passes the arguments last first.
        std::vector<VARIANT> arguments(method.parameters.size());
        std::wstring line = method.name;
        for (size_t i = 0; i < arguments.size(); ++i) {
            VariantInit(&arguments[i]);
            VARIANT& given = parameters->rgvarg[arguments.size() - 1 - i];
            if (FAILED(VariantChangeType(&arguments[i], &given, 0, method.parameters[i]))) {
                clear(arguments);
                if (badArgument)
                    *badArgument = UINT(arguments.size() - 1 - i);
                record(line + L"\t(argument " + std::to_wstring(i + 1) + L" of the wrong type)");
                return DISP_E_TYPEMISMATCH;
            }
            line += L"\t";
            line += method.parameters[i] == VT_BSTR
                        ? std::wstring(arguments[i].bstrVal ? arguments[i].bstrVal : L"")
                        : std::to_wstring(arguments[i].lVal);
        }
        std::wstring answer;
        if (method.name == std::wstring(L"ProcessRequest")) {
            const int number = nextRequestNumber();
            std::ofstream(fileNamed(L"request-" + std::to_wstring(number) + L".xml"),
                          std::ios::binary)
                << utf8(arguments[1].bstrVal ? arguments[1].bstrVal : L"");
            line = method.name + std::wstring(L"\t") + arguments[0].bstrVal + L"\trequest-" +
                   std::to_wstring(number) + L".xml";
            answer = responseText(number);
        } else if (method.name == std::wstring(L"BeginSession")) {
            answer = kTicket;
        }
        clear(arguments);
        record(line);
        const Failure failure = failureFor(method.name);
        if (failure.result != S_OK)
            return raise(failure, exception);
        if (result && method.returnsText) {
            VariantInit(result);
            result->vt = VT_BSTR;
            result->bstrVal = SysAllocStringLen(answer.data(), UINT(answer.size()));
        }
        return S_OK;
    }

private:
    static void clear(std::vector<VARIANT>& arguments) {
        for (VARIANT& argument : arguments)
            VariantClear(&argument);
    }

    LONG references_ = 1;
};

class Factory final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (id == IID_IUnknown || id == IID_IClassFactory) {
            *object = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
        if (outer)
            return CLASS_E_NOAGGREGATION;
        auto* processor = new RequestProcessor;
        const HRESULT result = processor->QueryInterface(id, object);
        processor->Release();
        return result;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        lock ? InterlockedIncrement(&locks) : InterlockedDecrement(&locks);
        return S_OK;
    }
};

Factory factory;

bool setKey(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS)
        return false;
    const LONG written =
        RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       DWORD((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
    return written == ERROR_SUCCESS;
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH)
        module = instance;
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID id, void** object) {
    if (classId != kClassId)
        return CLASS_E_CLASSNOTAVAILABLE;
    return factory.QueryInterface(id, object);
}

STDAPI DllCanUnloadNow() {
    return objects == 0 && locks == 0 ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(module, path, MAX_PATH);
    const std::wstring classes = L"Software\\Classes\\";
    const std::wstring clsid = classes + L"CLSID\\" + kClassIdText;
    const bool done =
        setKey(classes + kProgId, nullptr, L"QuickBooks request processor stand-in") &&
        setKey(classes + kProgId + L"\\CLSID", nullptr, kClassIdText) &&
        setKey(clsid, nullptr, L"QuickBooks request processor stand-in") &&
        setKey(clsid + L"\\ProgID", nullptr, kProgId) &&
        setKey(clsid + L"\\InprocServer32", nullptr, path) &&
        setKey(clsid + L"\\InprocServer32", L"ThreadingModel", L"Apartment");
    return done ? S_OK : E_ACCESSDENIED;
}
