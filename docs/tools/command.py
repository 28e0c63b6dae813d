"""The command lines of the scripts in this folder."""
import inspect
import subprocess
import sys
from pathlib import Path


class UsageError(Exception):
    """The arguments are wrong; the text says why."""


def run(main, usage):
    """Calls main with the arguments of the script, and exits with its result.

    Options come first: "--name" for a parameter of main whose default is False, "--name VALUE" if it is None. Wrong
    arguments print the usage; these and missing files exit with 2.
    """
    script = Path(sys.argv[0]).name
    if sys.argv[1:2] in (["-h"], ["--help"]):
        print(usage.strip())
        sys.exit(0)
    try:
        bound = bind(inspect.signature(main), sys.argv[1:])
        sys.exit(main(*bound.args, **bound.kwargs))
    except UsageError as error:
        sys.stderr.write("%s: %s\n\n%s\n" % (script, error, usage.strip()))
    except OSError as error:
        sys.stderr.write("%s: '%s': %s\n" % (script, error.filename, error.strerror))
    except UnicodeDecodeError as error:
        sys.stderr.write("%s: not a text file: %s\n" % (script, error))
    except subprocess.CalledProcessError as error:
        sys.stderr.write("%s: '%s' exits with %d\n%s" % (script, error.cmd[0], error.returncode, error.stderr or ""))
    sys.exit(2)


def bind(signature, arguments):
    """The arguments as those of a function with this signature."""
    options = {}
    while arguments and arguments[0].startswith("--"):
        option, *arguments = arguments
        parameter = signature.parameters.get(option[len("--") :])
        if parameter is None or parameter.default not in (None, False):
            raise UsageError("unknown option '%s'" % option)
        if parameter.default is None and not arguments:
            raise UsageError("option '%s' needs a value" % option)
        options[parameter.name] = True if parameter.default is False else arguments.pop(0)
    try:
        return signature.bind(*arguments, **options)
    except TypeError as error:
        raise UsageError(error) from None
