# The floors of src/, lowest first. A folder includes headers only from its own folder and from
# folders on floors below it; folders on one floor (separated by blanks) do not include each
# other. Every folder of src/ stands here: the library builds the sources of the folders listed,
# and the include_floors check fails on a folder that is missing or an include that points up.
set(KERNA_SOURCE_FLOORS
  "platform"                  # the only code that calls the OS (posix/), behind private declarations
  "base"                      # the library's own log call and gate, exit routines, reference-paths switch
  "sync"                      # locks, semaphores, thread slots, the atomic count, processes
  "foundation"                # print path, log control, error registry
  "threads"                   # thread objects, the registry, load control, timers
  "time memory utils file"    # calendar and clocks; packet memory; digests, ciphers, charsets;
                              # file tables, file objects and searches
  "component logfile"         # component objects, registry, factories, clients and their list;
                              # the log file writer (files, searches and calendar values)
  "legacy"                    # the older global-namespace classes over the classes below
  "startup")                  # the start-up unit and the exported test seam
