import com.acme.DcMotor;
import com.zelvox.qorbetta.Model;
import com.zelvox.qorbetta.ZelvoxSim;

/**
 * What ZelvoxSim adds to the step of a model: steps the demonstration model through it and directly,
 * with the communication step of its default experiment, for as many rounds as the argument says.
 * Prints them as the measurements of the library do.
 */
public final class StepLoops {
    private static final int STEPS = 1000;
    private static final char[] NAME = "motor".toCharArray();

    private final double[] inputs = {12, 0.05};
    private final double[] outputs = new double[2];
    private final Model model = new DcMotor();
    private final double stepSize = model.describe().stepSize();
    private final ZelvoxSim sim = ZelvoxSim.create();
    private final String[] names = new String[4 * STEPS];
    private long directSteps;
    private long hostedSteps;
    private double sink;

    private StepLoops() throws Exception {
        model.initialize(inputs, outputs);
        String name = new String(NAME);
        if (!sim.doInstantiate(name, "") || !sim.doSetupExperiment(name, 0, false, 0)
                || !sim.doInitializeModel(name)) {
            throw new IllegalStateException(sim.getLasterror());
        }
    }

    private void direct() throws Exception {
        for (int i = 0; i < STEPS; i++) {
            model.step(directSteps++ * stepSize, stepSize, inputs, outputs);
            sink += outputs[0];
        }
    }

    /** The four calls that a step of the library makes. */
    private void hosted() {
        for (int i = 0; i < names.length; i += 4) {
            sink += sim.getProp(names[i], "number_of_inputs").length();
            sink += sim.getProp(names[i + 1], "number_of_outputs").length();
            if (!sim.doStepModel(names[i + 2], hostedSteps++ * stepSize, stepSize, inputs)) {
                throw new IllegalStateException(sim.getLasterror());
            }
            sink += sim.getData(names[i + 3])[0];
        }
    }

    /** The nanoseconds of one step. */
    private double timed(boolean through) throws Exception {
        // Each call brings a name of its own, as JNI does, whose hash nobody has computed yet.
        for (int i = 0; i < names.length; i++) {
            names[i] = new String(NAME);
        }
        long begin = System.nanoTime();
        if (through) {
            hosted();
        } else {
            direct();
        }
        return (double) (System.nanoTime() - begin) / STEPS;
    }

    public static void main(String[] arguments) throws Exception {
        StepLoops loops = new StepLoops();
        for (int round = -1000; round < Integer.parseInt(arguments[0]); round++) {
            double[] times = new double[2]; // through ZelvoxSim and directly, by turns first
            int first = round & 1;
            times[first] = loops.timed(first == 0);
            times[1 - first] = loops.timed(first == 1);
            if (round >= 0) {
                System.out.println("a step of the demonstration model in ZelvoxSim\t" + times[0] + "\t" + times[1]);
            }
        }
    }
}
