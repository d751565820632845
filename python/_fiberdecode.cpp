// SPDX-License-Identifier: Apache-2.0
// fiberdecode._fiberdecode: the compiled half of the Python package. It
// hands a dump's bytes, a file name or the pages a caller read to the dump
// layer and keeps what comes back: the decoded module. The dump layer renders
// the module's JSON document straight into Python objects, through
// python_builder below, which makes each value it is asked for; every name
// and value is the command's own, and nothing is parsed, planned, decoded or
// laid out here.
//
// Decoding runs with the GIL released; rendering into Python objects needs
// it, and happens when a document or a record is asked for. Input errors
// come back as the message string (the package raises InputError with it);
// argument errors (page sizes, page numbers, unknown format or kind names)
// raise ValueError.
#include <pybind11/pybind11.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <cstdint>
#include <utility>

#include <nlohmann/detail/conversions/to_chars.hpp>

#include "dump.h"

namespace py = pybind11;

namespace {

constexpr std::size_t kPage = 128;       // every page of the page set
constexpr std::size_t kCmisEntry = 512;  // CMIS page-set entries 20h-23h and 2Ch

// One decoded module, and its document as Python objects once a record has
// been asked for (the records are read from it).
struct decoded {
    fdump::decoded_module module;
    py::object document;
};

// A contiguous byte buffer of a bytes-like object, held while it is read.
class byte_view {
public:
    byte_view(py::handle object, const char *what) {
        if (PyUnicode_Check(object.ptr()))
            throw py::type_error(std::string(what) + " must be bytes-like (bytes, bytearray, memoryview), not str");
        if (PyObject_GetBuffer(object.ptr(), &view_, PyBUF_SIMPLE) != 0) {
            PyErr_Clear();
            throw py::type_error(std::string(what) + " must be bytes-like (bytes, bytearray, memoryview), not " +
                                 std::string(py::str(py::type::handle_of(object).attr("__name__"))));
        }
    }
    byte_view(const byte_view &) = delete;
    byte_view &operator=(const byte_view &) = delete;
    ~byte_view() { PyBuffer_Release(&view_); }
    const uint8_t *data() const { return static_cast<const uint8_t *>(view_.buf); }
    std::size_t size() const { return static_cast<std::size_t>(view_.len); }

private:
    Py_buffer view_{};
};

py::object steal(PyObject *object) {
    if (!object) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(object);
}

// A single-precision value as the JSON document writes it (the shortest
// decimal that reads back as the same float), read as a Python float: the
// value json.loads gives for the command's output. In a document a value
// that is not finite is None, as the document's null.
//
// The document's digits are m x 10^e with m below 10^9. When 10^|e| is
// exact in a double (|e| <= 22), one multiplication or division of two
// exact doubles is correctly rounded, as parsing the text is; otherwise the
// text is written and parsed.
py::object float_value(float value) {
    if (!std::isfinite(value) || value == 0.0f) return steal(PyFloat_FromDouble(value));
    static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    char digits[32];
    int length = 0, exponent = 0;
    nlohmann::detail::dtoa_impl::grisu2(digits, length, exponent, std::fabs(value));
    double decimal = 0.0;
    if (length <= 9 && exponent >= -22 && exponent <= 22) {
        std::uint64_t m = 0;
        for (int i = 0; i < length; ++i) m = m * 10 + static_cast<unsigned>(digits[i] - '0');
        decimal = exponent >= 0 ? static_cast<double>(m) * kPowers[exponent] : static_cast<double>(m) / kPowers[-exponent];
    } else {
        char text[64] = {};
        char *end = nlohmann::detail::to_chars(text, text + sizeof text - 1, std::fabs(value));
        std::from_chars(text, end, decimal);  // correctly rounded, as Python's float()
    }
    return steal(PyFloat_FromDouble(std::signbit(value) ? -decimal : decimal));
}

py::object float_object(float value) { return std::isfinite(value) ? float_value(value) : py::none(); }

// The document's keys are the renderer's string literals: each is made a
// Python string once and reused (its hash computed once), which saves the
// better part of making the dicts. The cache is a direct-mapped table on the
// key's address; a slot holds its key's text, so a key is never confused
// with another that once had its address. Touched with the GIL held.
PyObject *key_object(const char *key) {
    struct slot {
        const char *address = nullptr;
        std::string key;
        PyObject *object = nullptr;
    };
    constexpr std::size_t kSlots = 1024;  // a document has a few hundred distinct keys
    static slot *slots = new slot[kSlots];
    slot &s = slots[(reinterpret_cast<std::uintptr_t>(key) * 0x9E3779B97F4A7C15u) >> 54];
    if (s.address == key && s.key == key) return s.object;
    PyObject *object = PyUnicode_FromString(key);
    if (!object) throw py::error_already_set();
    PyUnicode_InternInPlace(&object);
    Py_XDECREF(s.object);
    s = {key, key, object};
    return object;
}

// The dump layer's document as Python objects: dicts, lists, str, int,
// float, bool and None, as json.loads makes them of the command's output.
// A value is a new reference until it is put into its dict or list. Called
// with the GIL held; a Python error is thrown (and the values under
// construction then leak, which only happens when memory runs out).
class python_builder final : public fdump::document_builder {
public:
    value null() override { return made(Py_NewRef(Py_None)); }
    value boolean(bool b) override { return made(PyBool_FromLong(b)); }
    value integer(std::int64_t n) override { return made(PyLong_FromLongLong(n)); }
    value unsigned_integer(std::uint64_t n) override { return made(PyLong_FromUnsignedLongLong(n)); }
    value number(float x) override { return made(float_object(x).release().ptr()); }
    using document_builder::text;
    value text(std::string_view utf8) override {
        return made(PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "strict"));
    }
    value object(std::size_t members) override { return made(_PyDict_NewPresized(static_cast<Py_ssize_t>(members))); }
    void put(value object, const char *key, value member) override {
        const int status = PyDict_SetItem(python(object), key_object(key), python(member));
        Py_DECREF(python(member));
        if (status != 0) throw py::error_already_set();
    }
    // A dict keeps an existing key's place when it is set again.
    void replace(value object, const char *key, value member) override { put(object, key, member); }
    value array(std::size_t) override { return made(PyList_New(0)); }
    void push(value array, value item) override {
        const int status = PyList_Append(python(array), python(item));
        Py_DECREF(python(item));
        if (status != 0) throw py::error_already_set();
    }

    static py::object take(value v) { return py::reinterpret_steal<py::object>(python(v)); }

private:
    static PyObject *python(value v) { return reinterpret_cast<PyObject *>(static_cast<std::uintptr_t>(v)); }
    static value made(PyObject *object) {
        if (!object) throw py::error_already_set();
        return static_cast<value>(reinterpret_cast<std::uintptr_t>(object));
    }
};

// The module's JSON document as new Python objects.
py::object document_of(const fdump::decoded_module &module) {
    python_builder builder;
    return python_builder::take(fdump::json_report(module, builder));
}

// The document the records are read from (borrowed), rendered once.
PyObject *cached_document(decoded &d) {
    if (!d.document) d.document = document_of(d.module);
    return d.document.ptr();
}

fdump::input_format format_argument(const std::string &name) {
    if (auto format = fdump::parse_format_name(name)) return *format;
    throw py::value_error("unknown format '" + name + "' (auto, raw, optoe, hex)");
}

std::optional<fdump::module_family> kind_argument(const std::string &name, bool allow_auto) {
    if (allow_auto && name == "auto") return std::nullopt;
    if (auto family = fdump::parse_family_name(name)) return family;
    throw py::value_error("unknown module kind '" + name + (allow_auto ? "' (auto, sfp, xfp, qsfp, cmis)"
                                                                       : "' (sfp, xfp, qsfp, cmis)"));
}

// The dump layer's outcome as the package takes it: the decoded module, or
// the input error's message.
py::object result(fdump::outcome<fdump::decoded_module> &&outcome) {
    if (!outcome) return py::str(outcome.error);
    return py::cast(std::make_unique<decoded>(decoded{std::move(*outcome.value), py::object()}));
}

template <class Decode>
py::object decode_released(Decode &&decode) {
    fdump::outcome<fdump::decoded_module> outcome;
    {
        py::gil_scoped_release release;
        outcome = decode();
    }
    return result(std::move(outcome));
}

py::object decode_bytes(py::handle data, const std::string &name, const std::string &format,
                        const std::string &kind) {
    const fdump::decode_options options{format_argument(format), kind_argument(kind, true)};
    byte_view bytes(data, "data");
    // The command reads no more than this from a file or standard input.
    if (bytes.size() > fdump::kMaxFileSize) return py::str("file too large for a module dump (more than 4 MiB)");
    return decode_released([&] { return fdump::decode_bytes({bytes.data(), bytes.size()}, name, options); });
}

py::object decode_file(const std::string &path, const std::string &format, const std::string &kind) {
    const fdump::decode_options options{format_argument(format), kind_argument(kind, true)};
    return decode_released([&] { return fdump::decode_path(path, options); });
}

std::string page_label(long page) {
    char text[16];
    std::snprintf(text, sizeof text, "%02lXh", page);
    return text;
}

// Pages as the entry points take them: 128 bytes each, 512 for the CMIS
// entries 20h-23h and 2Ch; a page not given stays null.
py::object decode_pages(const std::string &kind, py::handle lower, py::handle pages, const std::string &name) {
    const fdump::module_family family = *kind_argument(kind, false);
    std::vector<std::vector<uint8_t>> copies;  // the pages, copied while the GIL is held
    copies.reserve(FIBER_PAGE_COUNT + 1);
    auto take = [&](py::handle object, const std::string &label, std::size_t size) {
        byte_view view(object, label.c_str());
        if (view.size() != size)
            throw py::value_error(label + " must be exactly " + std::to_string(size) + " bytes, not " +
                                  std::to_string(view.size()));
        copies.emplace_back(view.data(), view.data() + view.size());
        return copies.back().data();
    };
    const uint8_t *lower_page = take(lower, "lower", kPage);
    fiber_pages_t page_set{};
    if (!pages.is_none()) {
        if (!PyDict_Check(pages.ptr()))
            throw py::type_error("pages must be a dict of page number to page bytes");
        for (auto [key, value] : py::reinterpret_borrow<py::dict>(pages)) {
            if (!PyLong_Check(key.ptr()) || PyBool_Check(key.ptr()))
                throw py::type_error("page numbers must be int, not " +
                                     std::string(py::str(py::type::handle_of(key).attr("__name__"))));
            const long page = PyLong_AsLong(key.ptr());
            if (page == -1 && PyErr_Occurred()) throw py::error_already_set();
            if (page < 0 || page >= FIBER_PAGE_COUNT)
                throw py::value_error("page " + std::to_string(page) + " is outside the page set (00h-2Ch)");
            if (value.is_none()) continue;  // a page not read
            const bool large = family == fdump::module_family::cmis && ((page >= 0x20 && page <= 0x23) || page == 0x2C);
            page_set[page] = take(value, "page " + page_label(page), large ? kCmisEntry : kPage);
        }
    }
    return decode_released([&] { return fdump::decode_pages(family, lower_page, page_set, name); });
}

// Lookups and numeric helpers of the library.
std::string alarm_text(long id) {
    if (id < 0 || id >= FIBER_ALARM_COUNT)
        throw py::value_error("alarm id " + std::to_string(id) + " is outside 0-" + std::to_string(FIBER_ALARM_COUNT - 1));
    return fiber_alarms[id] ? fiber_alarms[id] : "";
}

py::object float_from_reg(py::handle data) {
    byte_view view(data, "data");
    if (view.size() != 4) throw py::value_error("data must be exactly 4 bytes, not " + std::to_string(view.size()));
    return float_value(get_float_from_reg(view.data()));
}

int check_code(py::handle data) {
    byte_view view(data, "data");
    if (view.size() > static_cast<std::size_t>(INT32_MAX)) throw py::value_error("data too long");
    return get_check_code(view.data(), static_cast<int32_t>(view.size()));
}

bool is_cmis(py::handle lower) {
    byte_view view(lower, "lower");
    if (view.size() != kPage) throw py::value_error("lower must be exactly 128 bytes, not " + std::to_string(view.size()));
    return fiber_is_cmis(view.data()) != 0;
}

}  // namespace

PYBIND11_MODULE(_fiberdecode, m) {
    m.doc() = "Compiled core of the fiberdecode package; use the fiberdecode package itself.";

    py::class_<decoded>(m, "Decoded", "A decoded module and its JSON document (internal).")
        .def("get", [](decoded &d, py::str key) -> py::object {
            PyObject *value = PyDict_GetItemWithError(cached_document(d), key.ptr());
            if (!value) {
                if (PyErr_Occurred()) throw py::error_already_set();
                throw py::key_error(std::string(key));
            }
            return py::reinterpret_borrow<py::object>(value);
        }, "The document's value under KEY, as Python objects (shared by every call).")
        .def("keys", [](decoded &d) { return steal(PyDict_Keys(cached_document(d))); }, "The document's keys, in order.")
        .def("to_dict", [](const decoded &d) { return document_of(d.module); },
             "The whole JSON document as new Python objects.")
        .def("to_json", [](const decoded &d, int indent) {
            std::string text;
            {
                py::gil_scoped_release release;
                text = fdump::json_report(d.module).dump(indent);
            }
            return text;
        }, py::arg("indent"), "The JSON document as text (indent < 0: one line).")
        .def("text", [](const decoded &d) {
            std::string text;
            {
                py::gil_scoped_release release;
                text = fdump::text_report(d.module);
            }
            return steal(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"));
        }, "The command's text report.")
        .def_property_readonly("failure", [](const decoded &d) -> py::object {
            if (d.module.failure.empty()) return py::none();
            return py::str(d.module.failure);
        }, "Why the module was not decoded, or None.");

    m.def("decode_bytes", &decode_bytes, py::arg("data"), py::arg("name"), py::arg("format"), py::arg("kind"));
    m.def("decode_file", &decode_file, py::arg("path"), py::arg("format"), py::arg("kind"));
    m.def("decode_pages", &decode_pages, py::arg("kind"), py::arg("lower"), py::arg("pages"), py::arg("name"));
    m.def("alarm_text", &alarm_text, py::arg("id"));
    m.def("dbm", [](float power) { return float_value(fiber_dbm(power)); }, py::arg("power"));
    m.def("float_from_reg", &float_from_reg, py::arg("data"));
    m.def("check_code", &check_code, py::arg("data"));
    m.def("is_cmis", &is_cmis, py::arg("lower"));

    m.attr("VERSION") = FIBERDECODE_VERSION;
    m.attr("PAGE_COUNT") = FIBER_PAGE_COUNT;
    m.attr("ALARM_COUNT") = FIBER_ALARM_COUNT;
    m.attr("ALARM_TX_BIAS_BASE") = FIBER_ALARM_TX_BIAS_BASE;
    m.attr("ALARM_RX_POWER_BASE") = FIBER_ALARM_RX_POWER_BASE;
    m.attr("ALARM_TX_POWER_BASE") = FIBER_ALARM_TX_POWER_BASE;
    m.attr("ALARM_RX_LOS_BASE") = FIBER_ALARM_RX_LOS_BASE;
    m.attr("ALARM_RX_LOL_BASE") = FIBER_ALARM_RX_LOL_BASE;
    m.attr("ALARM_TX_LOS_BASE") = FIBER_ALARM_TX_LOS_BASE;
    m.attr("ALARM_TX_LOL_BASE") = FIBER_ALARM_TX_LOL_BASE;
    m.attr("ALARM_TX_FAULT_BASE") = FIBER_ALARM_TX_FAULT_BASE;
    m.attr("ALARM_CHECKSUM") = FIBER_ALARM_CHECKSUM;
}
