import com.zelvox.qorbetta.Model;
import com.zelvox.qorbetta.ModelDescription;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;

/**
 * The model of the class path. It writes down how it is called, each object under its number, and
 * lets happen in a call what a test wants.
 */
public class Recorder implements Model {
    static final List<String> calls = new ArrayList<>();
    static final Map<String, Callable<?>> happenings = new HashMap<>(); // by the name of the call
    private static int called;

    private int number; // from the first call on, since some objects only serve to find the model
    private double gain;

    public Recorder() throws Exception {
        happen("make");
    }

    static void forget() {
        calls.clear();
        happenings.clear();
        called = 0;
    }

    private void call(String name, String arguments) throws Exception {
        write(name, arguments);
        happen(name);
    }

    private void write(String name, String arguments) {
        number = number == 0 ? ++called : number;
        calls.add(number + " " + name + arguments);
    }

    private static void happen(String name) throws Exception {
        Callable<?> happening = happenings.get(name);
        if (happening != null) {
            happening.call();
        }
    }

    @Override
    public ModelDescription describe() throws Exception {
        call("describe", "");
        return happenings.containsKey("no description") ? null : ModelDescription.named("Recorder")
                .input("u", "", "", 3).range(0, 5)
                .input("v", "", "", -1)
                .output("y", "", "", 0.5)
                .output("z", "", "", 0.25)
                .parameter("gain", "V", "", 2).range(1, 10)
                .parameter("mode", "", "", 1)
                .build();
    }

    @Override
    public void setUp(double startTime, double stopTime) throws Exception {
        call("setUp", " " + startTime + " " + stopTime);
    }

    @Override
    public void set(int parameter, double value) throws Exception {
        call("set", " " + (parameter == 0 ? "gain" : "mode") + " " + value);
        if (value == 7) {
            throw new IllegalArgumentException("seven is taken");
        }
        gain = parameter == 0 ? value : gain;
    }

    @Override
    public void initialize(double[] inputs, double[] outputs) throws Exception {
        write("initialize", " " + Arrays.toString(inputs) + " " + Arrays.toString(outputs));
        outputs[0] = gain * inputs[0]; // the other one keeps its value
        inputs[0] = 99; // the array is the host's; nobody minds
        happen("initialize");
    }

    @Override
    public void step(double time, double stepSize, double[] inputs, double[] outputs)
            throws Exception {
        call("step", " " + time + " " + stepSize + " " + Arrays.toString(inputs) + " "
                + Arrays.toString(outputs));
        outputs[0] = gain * inputs[0] + time + stepSize;
    }

    @Override
    public void terminate() throws Exception {
        call("terminate", "");
    }

    @Override
    public void free() throws Exception {
        call("free", "");
    }
}
