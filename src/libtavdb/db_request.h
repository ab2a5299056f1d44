/// One SQL statement: checked, sent to the database service, and its answer parsed.
///
/// The constructor does the whole exchange and blocks its thread for at most
/// DBMANAGER_EXCHANGE_SECONDS; afterwards the object is a plain record. A failure does not throw:
/// it leaves a text in get_last_error and the counts at zero.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace libtavdb {

class db_request {
  public:
    /// Types of a statement.
    enum query_type {
        QUERY_INSERT = 1,
        QUERY_DELETE = 2,
        QUERY_UPDATE = 3,
        QUERY_SELECT = 4,
    };

    /// `port`: the service's TCP port on the local host, 1..65535. `query`: one INSERT, DELETE,
    /// UPDATE or SELECT statement.
    db_request(int port, const char* query);

    /// Why the request failed; empty after a success. Valid until the next
    /// validate_query().
    const char* get_last_error() const { return last_error_.c_str(); }
    /// Which failure of the exchange: the number of the service's status, or a dbmanager_result.
    /// 0 after a success, and for a statement that was not sent.
    int get_result() const { return result_; }
    /// Rows that arrived.
    int get_rows_num() const { return static_cast<int>(rows.size()); }
    /// Columns that the answer names; 0 when it announces no rows. May be above 0 although no rows
    /// arrived.
    int get_fields_num() const { return fields_num_; }
    /// The ID of the row that an INSERT added; 0 when the service reported none.
    int get_last_insert_id() const { return last_insert_id_; }
    /// "0.0.11"
    static const char* get_version() { return "0.0.11"; }

    /// 0 with the statement's query_type in `*type`, by its first six characters without regard to
    /// case; -1 with the last error set.
    int validate_query(const std::string& query, int* type);
    /// Appends to `out` the parts of `text` between the separators; the whole text when `separator`
    /// is empty.
    static void split(const std::string& text, const std::string& separator,
                      std::vector<std::string>& out);

    /// The answer by row number, from 1, and column name in upper case. A row with too few values
    /// lacks the later columns: look up with find().
    std::map<int, std::map<std::string, std::string>> rows;

  private:
    void set_last_error(const std::string& text) { last_error_ = text; }
    void exchange(int port, const std::string& query);
    void keep_answer(const std::string& body);

    std::string last_error_;
    int query_type_ = 0;
    int result_ = 0;
    int last_insert_id_ = 0;
    int fields_num_ = 0;
};

}  // namespace libtavdb
