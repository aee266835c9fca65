#include "network/Augeas.h"

#include "network/AugeasException.h"

#include <augeas.h>

#include <cstdlib>
#include <malloc.h>

namespace pemo {
namespace system {

namespace {

using Lock = std::lock_guard<std::mutex>;

std::string text(const char* value)
{
    return value ? std::string(value) : std::string();
}

// Takes over a string libaugeas allocated for the caller.
std::string adopt(char* value)
{
    std::string result = text(value);
    std::free(value);
    return result;
}

} // namespace

Augeas::Params::Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config)
{
    if (config.isNull())
        return;
    root = config->getString("root", root);
    loadpath = config->getString("loadpath", loadpath);
    save_backup = config->getBool("save_backup", save_backup);
    save_newfile = config->getBool("save_newfile", save_newfile);
    type_check = config->getBool("type_check", type_check);
    no_stdinc = config->getBool("no_stdinc", no_stdinc);
    no_load = config->getBool("no_load", no_load);
    no_modl_autoload = config->getBool("no_modl_autoload", no_modl_autoload);
    enable_span = config->getBool("enable_span", enable_span);
    no_err_close = config->getBool("no_err_close", no_err_close);
    trace_module_loading = config->getBool("trace_module_loading", trace_module_loading);
}

unsigned int Augeas::Params::flags() const
{
    // No field for AUG_SAVE_NOOP: a save that writes nothing is never wanted.
    unsigned int flags = AUG_NONE;
    flags |= save_backup ? AUG_SAVE_BACKUP : 0;
    flags |= save_newfile ? AUG_SAVE_NEWFILE : 0;
    flags |= type_check ? AUG_TYPE_CHECK : 0;
    flags |= no_stdinc ? AUG_NO_STDINC : 0;
    flags |= no_load ? AUG_NO_LOAD : 0;
    flags |= no_modl_autoload ? AUG_NO_MODL_AUTOLOAD : 0;
    flags |= enable_span ? AUG_ENABLE_SPAN : 0;
    flags |= no_err_close ? AUG_NO_ERR_CLOSE : 0;
    flags |= trace_module_loading ? AUG_TRACE_MODULE_LOADING : 0;
    return flags;
}

Augeas::Augeas() : Augeas(Params())
{
}

Augeas::Augeas(const Params& params) : _params(params), _logger(Poco::Logger::get("SystemManager.Augeas"))
{
    init();
}

Augeas::Augeas(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config) : Augeas(Params(config))
{
}

Augeas::~Augeas()
{
    close();
}

void Augeas::init()
{
    Lock lock(_mutex);
    _handle = aug_init(_params.root.c_str(), _params.loadpath.c_str(), _params.flags());
    if (!_handle)
        throw AugeasException("Unable to initialize");
}

void Augeas::close()
{
    Lock lock(_mutex);
    if (_handle)
    {
        aug_close(_handle);
        // Loading the lenses leaves megabytes of small blocks that the
        // allocator would otherwise keep for good after the first edit.
        malloc_trim(0);
    }
    _handle = nullptr;
}

augeas* Augeas::handle()
{
    if (!_handle)
        throw AugeasException("No Augeas Handle");
    return _handle;
}

int Augeas::defvar(const std::string& name, const std::string& expr)
{
    Lock lock(_mutex);
    return aug_defvar(handle(), name.c_str(), expr.c_str());
}

int Augeas::defnode(const std::string& name, const std::string& expr, const std::string& value, int& created)
{
    Lock lock(_mutex);
    return aug_defnode(handle(), name.c_str(), expr.c_str(), value.c_str(), &created);
}

int Augeas::get(const std::string& path, std::string& value)
{
    Lock lock(_mutex);
    const char* found = nullptr;
    const int result = aug_get(handle(), path.c_str(), &found);
    if (found)
        value = found;
    return result;
}

int Augeas::label(const std::string& path, std::string& label)
{
    Lock lock(_mutex);
    const char* found = nullptr;
    const int result = aug_label(handle(), path.c_str(), &found);
    if (found)
        label = found;
    return result;
}

int Augeas::set(const std::string& path, const std::string& value)
{
    Lock lock(_mutex);
    return aug_set(handle(), path.c_str(), value.c_str());
}

int Augeas::setm(const std::string& base, const std::string& sub, const std::string& value)
{
    Lock lock(_mutex);
    return aug_setm(handle(), base.c_str(), sub.c_str(), value.c_str());
}

int Augeas::span(const std::string& path, std::string& filename, unsigned int& label_start, unsigned int& label_end,
                 unsigned int& value_start, unsigned int& value_end, unsigned int& span_start, unsigned int& span_end)
{
    Lock lock(_mutex);
    char* file = nullptr;
    const int result = aug_span(handle(), path.c_str(), &file, &label_start, &label_end, &value_start, &value_end,
                                &span_start, &span_end);
    if (file)
        filename = adopt(file);
    return result;
}

int Augeas::insert(const std::string& path, const std::string& label, int before)
{
    Lock lock(_mutex);
    return aug_insert(handle(), path.c_str(), label.c_str(), before);
}

int Augeas::rm(const std::string& path)
{
    Lock lock(_mutex);
    return aug_rm(handle(), path.c_str());
}

int Augeas::mv(const std::string& src, const std::string& dst)
{
    Lock lock(_mutex);
    return aug_mv(handle(), src.c_str(), dst.c_str());
}

int Augeas::cp(const std::string& src, const std::string& dst)
{
    Lock lock(_mutex);
    return aug_cp(handle(), src.c_str(), dst.c_str());
}

int Augeas::rename(const std::string& src, const std::string& label)
{
    Lock lock(_mutex);
    return aug_rename(handle(), src.c_str(), label.c_str());
}

int Augeas::save()
{
    Lock lock(_mutex);
    return aug_save(handle());
}

int Augeas::load()
{
    Lock lock(_mutex);
    return aug_load(handle());
}

int Augeas::text_store(const std::string& lens, const std::string& node, const std::string& path)
{
    Lock lock(_mutex);
    return aug_text_store(handle(), lens.c_str(), node.c_str(), path.c_str());
}

int Augeas::text_retreive(const std::string& lens, const std::string& node_in, const std::string& path,
                          const std::string& node_out)
{
    Lock lock(_mutex);
    return aug_text_retrieve(handle(), lens.c_str(), node_in.c_str(), path.c_str(), node_out.c_str());
}

int Augeas::escape_name(const std::string& in, std::string& out)
{
    Lock lock(_mutex);
    char* escaped = nullptr;
    const int result = aug_escape_name(handle(), in.c_str(), &escaped);
    out = escaped ? adopt(escaped) : in;
    return result;
}

int Augeas::print(FILE* out, const std::string& path)
{
    Lock lock(_mutex);
    return aug_print(handle(), out, path.c_str());
}

int Augeas::to_xml(const std::string& path, xmlNode** xmldoc, unsigned int flags)
{
    Lock lock(_mutex);
    return aug_to_xml(handle(), path.c_str(), xmldoc, flags);
}

int Augeas::transform(const std::string& lens, const std::string& file, int excl)
{
    Lock lock(_mutex);
    return aug_transform(handle(), lens.c_str(), file.c_str(), excl);
}

int Augeas::srun(FILE* out, const std::string& text)
{
    Lock lock(_mutex);
    return aug_srun(handle(), out, text.c_str());
}

int Augeas::error()
{
    Lock lock(_mutex);
    return aug_error(handle());
}

std::string Augeas::error_message()
{
    Lock lock(_mutex);
    return text(aug_error_message(handle()));
}

std::string Augeas::error_minor_message()
{
    Lock lock(_mutex);
    return text(aug_error_minor_message(handle()));
}

std::string Augeas::error_details()
{
    Lock lock(_mutex);
    return text(aug_error_details(handle()));
}

int Augeas::match(const std::string& path, std::vector<std::string>& matches)
{
    Lock lock(_mutex);
    char** found = nullptr;
    const int result = aug_match(handle(), path.c_str(), &found);
    matches.clear();
    for (int i = 0; i < result; ++i)
        matches.push_back(adopt(found[i]));
    std::free(found);
    return result;
}

} // namespace system
} // namespace pemo
