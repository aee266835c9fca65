#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

typedef struct augeas augeas;
typedef struct _xmlNode xmlNode;

namespace pemo {
namespace system {

/// One libaugeas handle. Each method is the libaugeas call of the same name
/// on it, with the same arguments in the same order, and returns its integer
/// result unchanged; strings are copied out. Every method serialises on the
/// wrapper's lock and throws AugeasException "No Augeas Handle" after
/// close().
class Augeas
{
public:
    struct Params
    {
        /// The file system root the tree's "/files" mirrors.
        std::string root = "/";
        /// Where lenses are looked up (besides the built-in path).
        std::string loadpath = "/usr/share/augeas/lenses/dist";
        bool save_backup = false;
        bool save_newfile = false;
        bool type_check = false;
        bool no_stdinc = false;
        bool no_load = false;
        bool no_modl_autoload = false;
        bool enable_span = false;
        bool no_err_close = false;
        bool trace_module_loading = false;

        Params() = default;
        /// Reads each field under its own name; an absent key (or a null
        /// view) keeps the default. Throws Poco::SyntaxException for a
        /// flag that is not a boolean.
        explicit Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);

        /// The aug_init flags of the fields that are true.
        unsigned int flags() const;
    };

    /// Each constructor opens the handle: throws AugeasException "Unable to
    /// initialize" when libaugeas cannot start.
    Augeas();
    explicit Augeas(const Params& params);
    explicit Augeas(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    virtual ~Augeas();

    Augeas(const Augeas&) = delete;
    Augeas& operator=(const Augeas&) = delete;

    /// Closes the handle; later calls throw. Closing twice is harmless.
    void close();

    int defvar(const std::string& name, const std::string& expr);
    int defnode(const std::string& name, const std::string& expr, const std::string& value, int& created);
    /// value is set only when libaugeas gives one (a node without a value,
    /// or none at all, leaves it untouched).
    int get(const std::string& path, std::string& value);
    int label(const std::string& path, std::string& label);
    int set(const std::string& path, const std::string& value);
    int setm(const std::string& base, const std::string& sub, const std::string& value);
    int span(const std::string& path, std::string& filename, unsigned int& label_start, unsigned int& label_end,
             unsigned int& value_start, unsigned int& value_end, unsigned int& span_start, unsigned int& span_end);
    int insert(const std::string& path, const std::string& label, int before);
    int rm(const std::string& path);
    int mv(const std::string& src, const std::string& dst);
    int cp(const std::string& src, const std::string& dst);
    int rename(const std::string& src, const std::string& label);
    int save();
    int load();
    int text_store(const std::string& lens, const std::string& node, const std::string& path);
    int text_retreive(const std::string& lens, const std::string& node_in, const std::string& path,
                      const std::string& node_out);
    /// out is in escaped, or in itself when it needs no escaping.
    int escape_name(const std::string& in, std::string& out);
    int print(FILE* out, const std::string& path);
    int to_xml(const std::string& path, xmlNode** xmldoc, unsigned int flags);
    int transform(const std::string& lens, const std::string& file, int excl);
    int srun(FILE* out, const std::string& text);
    int error();
    std::string error_message();
    std::string error_minor_message();
    std::string error_details();
    /// matches gets the matching paths, in tree order.
    int match(const std::string& path, std::vector<std::string>& matches);

private:
    void init();
    augeas* handle();

    Params _params;
    Poco::Logger& _logger;
    std::mutex _mutex;
    augeas* _handle = nullptr;
};

} // namespace system
} // namespace pemo
